// The loop of every host: probe, open, decode, cache, show. Here the clock runs as fast as the decoder, and showing a
// picture prints its times.

#include "cache/DecodedVideo.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <QFile>

#include <cstdio>

namespace {

// A record holds packed RGB. Each row is 3 x width bytes, rounded up to a multiple of 4, so a QImage or a texture can
// use the bytes directly.
void Show(DecodedVideoFrame const& picture)
{
    std::printf("%lld to %lld us: %d x %d\n", picture.startTime, picture.endTime, picture.width, picture.height);
}

bool Play(QString const& path)
{
    // [loop]
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    auto info = std::make_shared<MediaInfo>(path);
    if (!MediaReader::ParseMedia(info) || info->GetFrameStep() <= 0) // probe; the log says what failed
        return false;
    MediaInstance instance;
    instance.Initialize(info, 0); // opens with the first packet
    DecodedVideo cache;
    cache.SetMaxCacheSize(200000000, info->GetVideoWidth(), info->GetVideoHeight(), 3); // bytes
    long long const step = info->GetFrameStep(), end = info->GetDuration();             // microseconds, as all times
    for (long long now = 0; now < end; now += step) {
        cache.UpdateCache(now, end, /*playing=*/true, /*playingForwards=*/true);
        while (cache.CanCacheForwards() && instance.HasPacket()) {
            QList<std::shared_ptr<DecodedAudioFrame>> sounds; // these go into a DecodedAudio
            QList<std::shared_ptr<DecodedVideoFrame>> pictures;
            instance.DecodePacket(sounds, pictures, /*seekTime=*/-1); // decode
            for (auto const& picture : pictures) {
                picture->endTime = picture->data ? picture->startTime + step - 1 : end;
                cache.AppendFrame(picture); // cache
                cache.UpdateCache(now, end, true, true);
            }
        }
        if (auto const picture = cache.GetFrame(now, 0))
            Show(*picture); // show
    }
    // [loop]
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: loop MOVIE\n");
        return 2;
    }
    return Play(QFile::decodeName(argv[1])) ? 0 : 1;
}
