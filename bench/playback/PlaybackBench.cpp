#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"
#include "playback/TimeSource.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

// Measures how fast the engine plays backwards compared with forwards, steps, seeks and opens:
//
//     PlaybackBench MOVIE GROUP
//
// GROUP is the number of pictures between key pictures in the movie. The engine's time advances as fast as pictures are
// decoded. Prints one figure per line.
//
//     PlaybackBench --sound MOVIE SILENT
//
// compares how long a seek while paused takes to show its picture, in a movie with sound and in the same movie without:
// rows of ten seeks in alternation, each starting when the one before shows its picture.
//
//     PlaybackBench --seeks MOVIE
//
// prints the number of pictures, and then for each number on standard input the milliseconds that an exact seek to that
// picture takes, for seeks-beside-others.

namespace {

constexpr int patience = 60000; // milliseconds

using SteadyClock = std::chrono::steady_clock;

class BenchTime : public TimeSource
{
public:
    long long GetTime() const override { return time; }
    void Advance(long long microseconds) { time += microseconds; }

private:
    std::atomic<long long> time = 0;
};

double SecondsSince(SteadyClock::time_point begin)
{
    return std::chrono::duration<double>(SteadyClock::now() - begin).count();
}

void Wait(PlaybackEngine& engine)
{
    if (engine.WaitUntilReady(patience))
        return;
    std::fprintf(stderr, "The engine does not get ready.\n");
    std::exit(1);
}

struct Bench
{
    explicit Bench(QString const& path, long long budget = 512LL * 1024 * 1024)
    {
        PlaybackOptions options;
        options.withSound = false;
        options.cacheBudget = budget;
        engine = std::make_unique<PlaybackEngine>(options, time);
        engine->Open(path);
        Wait(*engine);
        step = engine->GetStatus().frameStep;
        if (!engine->GetStatus().error.isEmpty()) {
            std::fprintf(stderr, "%s\n", qPrintable(engine->GetStatus().error));
            std::exit(1);
        }
    }

    // Pictures per second over `count` pictures from `position` on.
    double Play(double speed, long long position, int count)
    {
        engine->Seek(position);
        Wait(*engine);
        DropCache();
        auto const begin = SteadyClock::now();
        engine->SetCacheBudget(budget);
        engine->SetSpeed(speed);
        Wait(*engine);
        for (int i = 0; i < count; ++i) {
            time->Advance(step);
            Wait(*engine);
            engine->GetPicture();
        }
        double const seconds = SecondsSince(begin);
        engine->Pause();
        return count / seconds;
    }

    // Drops the cached pictures except a few around the position.
    void DropCache()
    {
        engine->SetCacheBudget(0);
        while (engine->GetStatus().cacheEnd - engine->GetStatus().cacheStart > 8 * step)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    long long budget = 512LL * 1024 * 1024;
    long long step = 0;
    std::shared_ptr<BenchTime> time = std::make_shared<BenchTime>();
    std::unique_ptr<PlaybackEngine> engine;
};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void MeasureDirections(QString const& path, int group)
{
    Bench bench(path);
    PlaybackStatus const status = bench.engine->GetStatus();
    long long const pictureBytes = (3LL * status.width + 3) / 4 * 4 * status.height;
    int const count =
        static_cast<int>(std::min<long long>(status.duration / bench.step - 2, 2LL * std::max(group, 120)));
    long long const begin = 0;
    long long const end = (count + 1) * bench.step;
    for (double groups : {2.0, 0.5}) {
        bench.budget = static_cast<long long>(groups * group) * pictureBytes;
        std::vector<double> forwards;
        std::vector<double> backwards;
        for (int run = 0; run < 3; ++run) {
            forwards.push_back(bench.Play(1.0, begin, count));
            backwards.push_back(bench.Play(-1.0, end, count));
        }
        std::printf("budget of %.1f groups: forwards %.1f, backwards %.1f pictures/s, ratio %.2f\n", groups,
                    Median(forwards), Median(backwards), Median(backwards) / Median(forwards));
    }
}

void MeasureSteps(QString const& path)
{
    Bench bench(path);
    bench.engine->Seek(40 * bench.step);
    Wait(*bench.engine);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // the cache fills around the position
    std::vector<double> times;
    for (int i = 0; i < 1000; ++i) {
        auto const begin = SteadyClock::now();
        bench.engine->Step(i / 10 % 2 == 0 ? 1 : -1);
        bench.engine->GetPicture();
        times.push_back(SecondsSince(begin));
    }
    std::sort(times.begin(), times.end());
    std::printf("step inside the cache: p50 %.4f ms, p99 %.4f ms\n", times[500] * 1e3, times[990] * 1e3);
}

void MeasureSeeks(QString const& path)
{
    Bench bench(path, 0);
    std::mt19937 random(3);
    std::uniform_int_distribution<long long> anyTime(0, bench.engine->GetStatus().duration - bench.step);
    std::vector<double> times;
    for (int i = 0; i < 30; ++i) {
        auto const begin = SteadyClock::now();
        bench.engine->Seek(anyTime(random));
        Wait(*bench.engine);
        times.push_back(SecondsSince(begin));
    }
    std::printf("exact random seek: median %.1f ms\n", Median(times) * 1e3);
}

void ServeSeeks(QString const& path)
{
    Bench bench(path, 0);
    PlaybackStatus const status = bench.engine->GetStatus();
    std::printf("%lld\n",
                static_cast<long long>(std::lround(static_cast<double>(status.duration) / 1e6 * status.frameRate)));
    std::fflush(stdout);
    long long number = 0;
    while (std::scanf("%lld", &number) == 1) {
        double const middle = (static_cast<double>(number) + 0.5) * 1e6 / status.frameRate;
        auto const begin = SteadyClock::now();
        bench.engine->Seek(static_cast<long long>(middle));
        Wait(*bench.engine);
        std::printf("%f\n", SecondsSince(begin) * 1e3);
        std::fflush(stdout);
    }
}

// Milliseconds of ten successive seeks while paused.
double Scrub(PlaybackEngine& engine, std::mt19937 random)
{
    PlaybackStatus const status = engine.GetStatus();
    std::uniform_int_distribution<long long> anyTime(0, status.duration - 2 * status.frameStep);
    auto const begin = SteadyClock::now();
    for (int i = 0; i < 10; ++i) {
        long long const time = anyTime(random) / status.frameStep * status.frameStep;
        engine.Seek(time);
        for (auto picture = engine.GetPicture(); !picture || picture->startTime != time; picture = engine.GetPicture())
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    double const milliseconds = SecondsSince(begin) * 1e3;
    Wait(engine);
    return milliseconds;
}

void MeasureSound(QString const& path, QString const& silentPath)
{
    PlaybackOptions options;
    options.cacheBudget = 0;
    PlaybackEngine engines[2] = {PlaybackEngine(options), PlaybackEngine(options)};
    engines[0].Open(path);
    engines[1].Open(silentPath);
    for (PlaybackEngine& engine : engines)
        Wait(engine);
    std::printf("with sound: %d channels; without: %d\n", engines[0].GetStatus().channels,
                engines[1].GetStatus().channels);
    std::vector<double> times[2];
    std::vector<double> ratios;
    for (unsigned row = 0; row < 60; ++row) {
        for (size_t turn = 0; turn < 2; ++turn) {
            size_t const which = (turn + row) % 2;
            times[which].push_back(Scrub(engines[which], std::mt19937(row)));
        }
        ratios.push_back(times[0].back() / times[1].back());
    }
    std::printf("seek while paused to its picture: with sound %.1f ms, without %.1f ms, ratio %.3f\n",
                Median(times[0]) / 10, Median(times[1]) / 10, Median(ratios));
}

void MeasureOpening(QString const& path)
{
    std::vector<double> times;
    for (int i = 0; i < 5; ++i) {
        PlaybackEngine engine;
        auto const begin = SteadyClock::now();
        engine.Open(path);
        while (!engine.GetPicture())
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        times.push_back(SecondsSince(begin));
    }
    std::printf("from open to the first picture: median %.1f ms\n", Median(times) * 1e3);
}

} // namespace

int main(int argc, char** argv)
{
    bool const servesSeeks = argc == 3 && QLatin1String(argv[1]) == QLatin1String("--seeks");
    if (servesSeeks) {
        ServeSeeks(QString::fromLocal8Bit(argv[2]));
        return 0;
    }
    if (argc == 4 && QLatin1String(argv[1]) == QLatin1String("--sound")) {
        AvGlobals::maxAudioOutputChannels = 2;
        MeasureSound(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
        return 0;
    }
    if (argc != 3 || std::atoi(argv[2]) <= 0) {
        std::fprintf(stderr, "Usage: PlaybackBench MOVIE GROUP\n       PlaybackBench --sound MOVIE SILENT\n"
                             "       PlaybackBench --seeks MOVIE\n");
        return 2;
    }
    QString const path = QString::fromLocal8Bit(argv[1]);
    MeasureOpening(path);
    MeasureSteps(path);
    MeasureSeeks(path);
    MeasureDirections(path, std::atoi(argv[2]));
    return 0;
}
