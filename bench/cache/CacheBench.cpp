#include "bench/cache/PairedTimes.h"
#include "cache/DecodedAudio.h"
#include "cache/DecodedVideo.h"

#include <cstdio>
#include <cstdlib>

// The cache operations other than the fill: clearing, appending, looking up and updating, with few and with many
// frames.
namespace {

constexpr int pictureBytes = 1920 * 1080 * 3;
constexpr long long duration = 40000;

std::shared_ptr<DecodedVideoFrame> MakePicture(long long start, int bytes, bool touched)
{
    auto picture = std::make_shared<DecodedVideoFrame>();
    picture->data = touched ? new uint8_t[static_cast<size_t>(bytes)]() : new uint8_t[1]();
    picture->size = bytes;
    picture->startTime = start;
    picture->endTime = start + duration - 1;
    return picture;
}

void FillCache(DecodedVideo& cache, int count, int bytes, bool touched)
{
    for (int i = 0; i < count; ++i)
        cache.AppendFrame(MakePicture(i * duration, bytes, touched));
}

// A clear with real pictures, immediate and deferred, and the cost of the appends after the deferred one.
void TimeClear(int pictures)
{
    std::vector<double> lazy;
    std::vector<double> appends;
    std::vector<double> forced;
    for (int round = 0; round < 3; ++round) {
        DecodedVideo cache;
        FillCache(cache, pictures, pictureBytes, true);
        lazy.push_back(NanosecondsOf([&] { cache.Clear(); }));
        auto const next = MakePicture(0, 1, false);
        for (int i = 0; i < pictures / 4; ++i) // past the slots above the latest picture
            cache.AppendFrame(next);
        for (int i = 0; i < 20; ++i)
            appends.push_back(NanosecondsOf([&] { cache.AppendFrame(next); }));
        cache.ForceClear();
        FillCache(cache, pictures, pictureBytes, true);
        forced.push_back(NanosecondsOf([&] { cache.ForceClear(); }));
    }
    std::printf("clear of %d pictures of %d bytes: Clear %.1f us, ForceClear %.1f us, ratio %.0f; "
                "an append that releases two of them %.1f us\n",
                pictures, pictureBytes, Median(lazy) / 1000.0, Median(forced) / 1000.0, Median(forced) / Median(lazy),
                Median(appends) / 1000.0);
}

void TimeMany(int count)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize((2LL * count) << 20, 1 << 10, 1 << 10, 1); // never full
    FillCache(cache, count, 1 << 20, false);
    long long const span = count * duration;
    long long time = 0;
    int const repeats = 2000;
    auto const each = [&](auto work) {
        std::vector<double> times;
        for (int i = 0; i < 15; ++i)
            times.push_back(NanosecondsOf([&] {
                                for (int n = 0; n < repeats; ++n) {
                                    time = (time + 7919 * 1237) % span;
                                    work();
                                }
                            }) /
                            repeats);
        return Median(times);
    };
    double const lookup = each([&] { cache.GetFrame(time, 0); });
    double const step = each([&] { cache.GetFrame(time, 1); });
    double const tick = each([&] { cache.UpdateCache(time, span * 2, true, true); });
    auto const picture = MakePicture(span, 1, false);
    double const append = each([&] {
        picture->startTime = span;
        cache.AppendFrame(picture);
        cache.PopBack();
    });
    std::printf("%6d pictures: lookup %.0f ns, step %.0f ns, tick %.2f us, append and pop %.0f ns\n", count, lookup,
                step, tick / 1000.0, append);
}

void TimeManySounds(int count)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(count + 2);
    auto const makeFrame = [](long long start) {
        auto frame = std::make_shared<DecodedAudioFrame>();
        frame->samples = new short[2]();
        frame->sampleCount = frame->sampleCapacity = 2;
        frame->frameCount = 1;
        frame->sampleRate = 48000;
        frame->startTime = start;
        frame->endTime = start + duration - 1;
        return frame;
    };
    for (int i = 0; i < count; ++i)
        cache.AppendFrame(makeFrame(i * duration));
    long long const span = count * duration;
    long long time = 0;
    std::vector<double> lookups;
    std::vector<double> appends;
    auto const frame = makeFrame(span);
    for (int i = 0; i < 15; ++i) {
        lookups.push_back(NanosecondsOf([&] {
                              for (int n = 0; n < 2000; ++n) {
                                  time = (time + 7919 * 1237) % span;
                                  cache.GetFrameIndex(time);
                              }
                          }) /
                          2000);
        appends.push_back(NanosecondsOf([&] {
                              for (int n = 0; n < 2000; ++n) {
                                  cache.AppendFrame(frame);
                                  cache.PopBack();
                              }
                          }) /
                          2000);
    }
    std::printf("%6d sounds:   lookup %.0f ns, append and pop %.0f ns\n", count, Median(lookups), Median(appends));
}

} // namespace

int main(int argc, char** argv)
{
    int const clearedPictures = argc > 1 ? std::atoi(argv[1]) : 500;
    for (int const count : {100, 1000, 10000})
        TimeMany(count);
    for (int const count : {100, 10000})
        TimeManySounds(count);
    TimeClear(clearedPictures);
}
