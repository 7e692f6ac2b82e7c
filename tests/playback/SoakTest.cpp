#include "tests/support/Clips.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>

// Random commands from two threads, while a display and an audio output take pictures and sound. The environment
// selects longer runs: TAVOLIN_SOAK_OPERATIONS, TAVOLIN_SOAK_SEED.

namespace {

constexpr long long budget = 8LL * 1024 * 1024;

int NumberFromEnvironment(char const* name, int otherwise)
{
    char const* const value = std::getenv(name);
    return value ? std::atoi(value) : otherwise;
}

// Ends the process if the test does not finish in time.
class Watchdog
{
public:
    explicit Watchdog(std::chrono::seconds patience)
        : thread([this, patience] {
              std::unique_lock lock(mutex);
              if (!stopped.wait_for(lock, patience, [this] { return done; }))
                  std::abort();
          })
    {}

    ~Watchdog()
    {
        {
            std::lock_guard const lock(mutex);
            done = true;
        }
        stopped.notify_all();
        thread.join();
    }

private:
    std::mutex mutex;
    std::condition_variable stopped;
    bool done = false;
    std::thread thread;
};

class Operator
{
public:
    Operator(PlaybackEngine& newEngine, QStringList newClips, unsigned seed)
        : engine(newEngine), clips(std::move(newClips)), random(seed)
    {}

    void Do()
    {
        switch (Pick(0, 15)) {
        case 0:
            if (Pick(0, 9) == 0)
                engine.Open(clips[Pick(0, static_cast<int>(clips.size()) - 1)]);
            break;
        case 1:
        case 2:
            engine.Seek(Pick(-1000, 9000) * 1000LL);
            break;
        case 3:
            engine.SeekPreview(Pick(0, 9000) * 1000LL);
            break;
        case 4:
        case 5:
            engine.Step(Pick(-5, 5));
            break;
        case 6:
        case 7:
            engine.SetSpeed(Pick(-32, 32) / 2.0);
            break;
        case 8:
            engine.SetSpeed(Pick(0, 1) == 0 ? 1.0 : -1.0);
            break;
        case 9:
            engine.Pause();
            break;
        case 10:
            engine.SetLoop(Pick(0, 8000) * 1000LL, Pick(0, 8000) * 1000LL);
            break;
        case 11:
            engine.SetCacheBudget(Pick(0, 1) == 0 ? budget : budget / 8);
            break;
        case 12:
            engine.SetMuted(Pick(0, 1) == 0);
            engine.SetVolume(Pick(0, 20) / 10.0);
            break;
        case 13:
            engine.WaitUntilReady(Pick(0, 20));
            break;
        default:
            std::this_thread::sleep_for(std::chrono::microseconds(Pick(0, 3000)));
        }
    }

private:
    int Pick(int least, int most) { return std::uniform_int_distribution<int>(least, most)(random); }

    PlaybackEngine& engine;
    QStringList const clips;
    std::mt19937 random;
};

// Checks invariants of every status and picture.
void TakePictures(PlaybackEngine& engine, std::atomic<bool> const& done)
{
    while (!done) {
        if (auto const picture = engine.GetPicture()) {
            EXPECT_EQ(picture->status, 0);
            EXPECT_EQ(picture->size, (3 * picture->width + 3) / 4 * 4 * picture->height);
            EXPECT_GE(picture->data[picture->size - 1], 0);
        }
        PlaybackStatus const status = engine.GetStatus();
        long long const leastBudget = 4LL * ((3 * status.width + 3) / 4 * 4) * status.height; // four pictures
        EXPECT_LE(status.cachedBytes, std::max(budget, leastBudget));
        if (status.durationKnown) {
            EXPECT_LE(status.position, status.start + status.duration);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void TakeSound(PlaybackEngine& engine, std::atomic<bool> const& done)
{
    std::vector<short> block(512 * 8);
    while (!done) {
        engine.FillAudio(block.data(), 512, 1000);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(SoakTest, SurvivesRandomOrdersFromTwoThreads)
{
    AvGlobals::maxAudioOutputChannels = 8;
    int const operations = NumberFromEnvironment("TAVOLIN_SOAK_OPERATIONS", 4000);
    auto const seed = static_cast<unsigned>(NumberFromEnvironment("TAVOLIN_SOAK_SEED", 1));
    Watchdog const watchdog(std::chrono::seconds(60 + operations / 20));
    QStringList clips;
    for (char const* name : {"gop12.mp4", "gop250.mp4", "stream.ts", "program.mpg", "vfr.mp4", "matroska.mkv",
                             "tone.mp3", "cover.mp3", "raw.264", "late-video.mp4"})
        clips << Clips::Made(name);
    clips << "/nowhere/missing.mp4";

    PlaybackOptions options;
    options.cacheBudget = budget;
    PlaybackEngine engine(options);
    engine.Open(clips.first());
    std::atomic<bool> done = false;
    std::thread display([&] { TakePictures(engine, done); });
    std::thread output([&] { TakeSound(engine, done); });
    auto const operate = [&](unsigned ownSeed) {
        Operator hand(engine, clips, ownSeed);
        for (int i = 0; i < operations; ++i)
            hand.Do();
    };
    std::thread other([&] { operate(seed + 1); });
    operate(seed);
    other.join();

    // Everything still works afterwards.
    engine.ClearLoop();
    engine.Open(clips.first());
    engine.Seek(4010000);
    EXPECT_TRUE(engine.WaitUntilReady(30000));
    ASSERT_TRUE(engine.GetPicture());
    EXPECT_EQ(engine.GetPicture()->startTime, 4000000);
    done = true;
    display.join();
    output.join();
}

} // namespace
