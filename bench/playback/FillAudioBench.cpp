#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <thread>
#include <vector>

// Measures one FillAudio call while the engine plays, alone and while two other threads use the engine continuously:
//
//     FillAudioBench MOVIE [BLOCKS]
//
// Asks for blocks of 256 frames in real time, in turns of 250 blocks: alone, and with two threads that call GetPicture
// and GetStatus in a tight loop; alone, and with two threads that also seek. BLOCKS of each, 2000 by default. The turns
// alternate because the machine may have other load.

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int framesOfABlock = 256;
constexpr int blocksOfATurn = 250;
constexpr int patience = 60000; // milliseconds

// Calls a function in a tight loop on two threads during its lifetime.
class Crowd
{
public:
    explicit Crowd(std::function<void(std::mt19937&)> const& call)
    {
        for (unsigned seed = 1; seed <= 2; ++seed) {
            threads.emplace_back([this, call, seed] {
                std::mt19937 random(seed);
                while (!done)
                    call(random);
            });
        }
    }

    ~Crowd()
    {
        done = true;
        for (std::thread& thread : threads)
            thread.join();
    }

    Crowd(Crowd const&) = delete;
    Crowd& operator=(Crowd const&) = delete;

private:
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
};

struct Figures
{
    double median = 0.0; // microseconds
    double p99 = 0.0;
    double longest = 0.0;
};

Figures FiguresOf(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 99 / 100], times.back()};
}

class Bench
{
public:
    explicit Bench(QString const& path)
    {
        PlaybackOptions options;
        options.cacheBudget = 64LL * 1024 * 1024; // so that it decodes all the time
        engine = std::make_unique<PlaybackEngine>(options);
        engine->Open(path);
        Wait();
        PlaybackStatus const status = engine->GetStatus();
        if (status.channels == 0 || status.duration <= 0) {
            std::fprintf(stderr, "The movie has no sound. %s\n", qPrintable(status.error));
            std::exit(1);
        }
        duration = status.duration;
        pace = std::chrono::nanoseconds(framesOfABlock * 1000000000LL / status.sampleRate);
        block.resize(static_cast<size_t>(framesOfABlock * status.channels));
        engine->SetLoop(0, duration);
        engine->SetSpeed(1.0);
        Wait();
    }

    // Runs a turn and adds the microseconds of each call.
    void Turn(std::vector<double>& times)
    {
        auto due = SteadyClock::now();
        for (int i = 0; i < blocksOfATurn; ++i) {
            std::this_thread::sleep_until(due += pace);
            auto const begin = SteadyClock::now();
            engine->FillAudio(block.data(), framesOfABlock);
            times.push_back(std::chrono::duration<double, std::micro>(SteadyClock::now() - begin).count());
        }
    }

    void Look() { engine->GetPicture(), engine->GetStatus(); }
    void Seek(std::mt19937& random)
    {
        engine->Seek(std::uniform_int_distribution<long long>(0, duration)(random));
        Look();
    }

    void Compare(char const* name, int blocks, std::function<void(std::mt19937&)> const& call)
    {
        std::vector<double> alone;
        std::vector<double> among;
        while (static_cast<int>(among.size()) < blocks) {
            Turn(alone);
            Crowd const crowd(call);
            Turn(among);
        }
        Figures const one = FiguresOf(alone);
        Figures const other = FiguresOf(among);
        std::printf("alone: p50 %.1f, p99 %.1f, longest %.1f us\n", one.median, one.p99, one.longest);
        std::printf("%s: p50 %.1f, p99 %.1f, longest %.1f us, ratios %.2f, %.2f, %.2f\n", name, other.median, other.p99,
                    other.longest, other.median / one.median, other.p99 / one.p99, other.longest / one.longest);
    }

private:
    void Wait() const
    {
        if (engine->WaitUntilReady(patience))
            return;
        std::fprintf(stderr, "The engine does not get ready.\n");
        std::exit(1);
    }

    std::unique_ptr<PlaybackEngine> engine;
    std::vector<short> block;
    std::chrono::nanoseconds pace{};
    long long duration = 0;
};

} // namespace

int main(int argc, char** argv)
{
    int const blocks = argc > 2 ? std::atoi(argv[2]) : 2000;
    if (argc < 2 || blocks <= 0) {
        std::fprintf(stderr, "Usage: FillAudioBench MOVIE [BLOCKS]\n");
        return 2;
    }
    AvGlobals::maxAudioOutputChannels = 2;
    Bench bench(QString::fromLocal8Bit(argv[1]));
    bench.Compare("two threads look", blocks, [&](std::mt19937&) { bench.Look(); });
    bench.Compare("two threads look and seek", blocks, [&](std::mt19937& random) { bench.Seek(random); });
    return 0;
}
