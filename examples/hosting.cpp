// The rules that a host must follow when it uses the decoder and the caches without the engine, in the shortest code.
// `hosting MOVIE` shows a second of the movie backwards.

#include "cache/DecodedVideo.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <algorithm>
#include <cstdio>

namespace {

using Pictures = QList<std::shared_ptr<DecodedVideoFrame>>;

// [end]
// Every picture needs an end time before it is cached. For the end-of-stream mark, that is the end of the media.
void SetEnd(DecodedVideoFrame& picture, long long frameStep, long long mediaEnd)
{
    picture.endTime = picture.data ? picture.startTime + frameStep - 1 : mediaEnd;
}
// [end]

// [seek]
// Decodes from the picture shown at `time` up to `until`. Some containers land too late: then seek again, 1, 2, 4...
// seconds earlier, and finally to the start.
Pictures DecodeSpan(MediaInstance& instance, MediaInfo const& info, long long time, long long until)
{
    Pictures pictures;
    for (long long back = 0; back <= 2 * time + 1000000; back = std::max(2 * back, 1000000LL)) {
        pictures.clear();
        long long const target = std::max(time - back, 0LL);
        instance.Seek(target + info.GetStartTime()); // the container's time
        while (instance.HasPacket() && (pictures.isEmpty() || pictures.last()->startTime < until)) {
            QList<std::shared_ptr<DecodedAudioFrame>> sounds;
            instance.DecodePacket(sounds, pictures, target); // media time
            if (!pictures.isEmpty() && !pictures.last()->data)
                break; // the end of the stream
        }
        if (!pictures.isEmpty() && pictures.first()->data && pictures.first()->startTime <= time)
            break;
    }
    return pictures;
}
// [seek]

// [backwards]
// Extends the cache backwards: decodes the pictures before the cached ones and appends them from last to first.
void CacheBackwards(MediaInstance& instance, MediaInfo const& info, DecodedVideo& cache, long long length)
{
    long long const from = std::max(cache.GetStartTime() - length, 0LL);
    Pictures const pictures = DecodeSpan(instance, info, from, cache.GetStartTime());
    for (auto picture = pictures.rbegin(); picture != pictures.rend(); ++picture) {
        if (!(*picture)->data || (*picture)->startTime >= cache.GetStartTime())
            continue; // cached already
        SetEnd(**picture, info.GetFrameStep(), info.GetDuration());
        cache.AppendFrame(*picture);
        // With no media left ahead, the cache cannot advise to decode forwards. Each call releases one picture at most.
        cache.UpdateCache(cache.GetEndTime(), std::min(info.GetDuration(), cache.GetEndTime()), /*playing=*/true,
                          /*playingForwards=*/false);
    }
}
// [backwards]

bool ShowBackwards(QString const& path)
{
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    auto const info = std::make_shared<MediaInfo>(path);
    MediaInstance instance;
    if (!MediaReader::ParseMedia(info) || !instance.Initialize(info, 0) || info->GetFrameStep() <= 0)
        return false;
    DecodedVideo cache;
    cache.SetMaxCacheSize(200000000, info->GetVideoWidth(), info->GetVideoHeight(), 3);
    long long const step = info->GetFrameStep();
    long long const begin = std::min(1000000LL, info->GetDuration() / 2);
    for (auto const& picture : DecodeSpan(instance, *info, begin, begin + 1)) {
        SetEnd(*picture, step, info->GetDuration());
        cache.AppendFrame(picture);
    }
    CacheBackwards(instance, *info, cache, begin);
    for (long long time = begin; time >= 0; time -= step) {
        if (auto const picture = cache.GetFrame(time, 0))
            std::printf("%lld us\n", picture->startTime);
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: hosting MOVIE\n");
        return 2;
    }
    return ShowBackwards(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
