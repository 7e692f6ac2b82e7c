// Compares exact random seeks in a long group of pictures with a plain seek, which decodes every picture up to the
// target and converts only that one. The seeks are a session's, a session's that skips unneeded pictures, and the
// engine's.
//
//     SeekBench MOVIE [PAIRS]     each pair is one target, the same for both

#include "bench/decode/HostDecode.h"
#include "bench/decode/PairedRuns.h"
#include "bench/decode/PlainDecode.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "playback/PlaybackEngine.h"

#include <QString>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

namespace {

constexpr int defaultPairs = 40;
constexpr int patience = 60000; // milliseconds

// Seeks as a host does; returns the time of the first picture not before `time`, -1 when there is none. The pictures
// that a dropped picture left in the decoder at the end come with further forced packets.
long long SeekExactly(MediaInstance& instance, long long startTime, long long time)
{
    instance.Seek(time + startTime);
    QList<std::shared_ptr<DecodedAudioFrame>> sounds;
    QList<std::shared_ptr<DecodedVideoFrame>> pictures;
    while (true) {
        if (!instance.HasPacket())
            instance.PrepareNextPacket(/*force=*/true);
        instance.DecodePacket(sounds, pictures, time);
        for (auto const& picture : pictures) {
            if (!picture->data)
                return -1; // end-of-stream record
            if (picture->startTime >= time)
                return picture->startTime;
        }
        pictures.clear();
    }
}

// The start of the picture after `picture`: the other seeks stop there.
long long NextStart(DecodedVideoFrame const& picture)
{
    return picture.endTime + 1;
}

// Prints the ratio to the plain seek; returns the number of targets at which the two found different pictures.
int MeasureSeeks(char const* name, int pairs, MediaInfo const& info, PlainDecode& plain,
                 std::function<long long(long long)> const& seek)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<long long> anywhere(0, info.GetDuration() - 2 * info.GetFrameStep());
    long long target = anywhere(random);
    int calls = 0;
    int differences = 0;
    long long ours = 0;
    long long theirs = 0;
    auto const finish = [&] {
        if (++calls % 2 != 0)
            return;
        differences += ours == theirs ? 0 : 1;
        target = anywhere(random);
    };
    auto const runs = PairedRuns::Measure(
        pairs,
        [&] {
            ours = seek(target);
            finish();
        },
        [&] {
            theirs = plain.DecodeUpTo(target + info.GetStartTime()) - info.GetStartTime();
            finish();
        });
    std::printf(
        "%-18s ours %.1f ms, plain %.1f ms (medians); ratio %.3f / **%.3f** / %.3f (lowest / median / highest), "
        "processor time %.3f; %d targets differ\n",
        name, runs.ours * 1000.0, runs.theirs * 1000.0, runs.ratio.lowest, runs.ratio.median, runs.ratio.highest,
        runs.cpuRatio.median, differences);
    return differences;
}

} // namespace

int main(int argc, char** argv)
{
    av_log_set_level(AV_LOG_ERROR);
    if (argc < 2) {
        std::fprintf(stderr, "usage: SeekBench MOVIE [PAIRS]\n");
        return 2;
    }
    QString const path = QString::fromLocal8Bit(argv[1]);
    int const pairs = argc > 2 ? std::atoi(argv[2]) : defaultPairs;
    auto const info = HostDecode::Probe(path, false);
    MediaInstance instance;
    PlainDecode plain(0);
    if (!info->IsInitialized() || !instance.Initialize(info, 0) || !instance.OpenInput() || !plain.Open(path, false))
        return 1;

    int differences = MeasureSeeks("session", pairs, *info, plain, [&](long long target) {
        return SeekExactly(instance, info->GetStartTime(), target);
    });
    differences += MeasureSeeks("session, skipping", pairs, *info, plain, [&](long long target) {
        instance.SetSeekSkipping(true);
        return SeekExactly(instance, info->GetStartTime(), target);
    });

    PlaybackOptions options;
    options.withSound = false;
    options.cacheBudget = 1; // so that no picture comes from the cache
    PlaybackEngine engine(options);
    engine.Open(path);
    engine.WaitUntilReady(patience);
    differences += MeasureSeeks("engine", pairs, *info, plain, [&](long long target) {
        engine.Seek(target);
        engine.WaitUntilReady(patience);
        auto const picture = engine.GetPicture();
        if (!picture)
            return -1LL;
        return picture->startTime >= target ? picture->startTime : NextStart(*picture);
    });
    return differences == 0 ? 0 : 1;
}
