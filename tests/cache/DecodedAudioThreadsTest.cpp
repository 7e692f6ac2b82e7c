#include "tests/cache/WalkOptions.h"

#include "cache/DecodedAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

// The sound is a counting sequence: at 1000 Hz, sample i plays at i milliseconds and holds its number, 1 + i mod 30000
// in the left channel and the negative in the right one. Every output sample thus shows whether it is the right one.
namespace {

constexpr int sampleRate = 1000;
constexpr int channels = 2;

short LeftAt(long long index)
{
    return static_cast<short>(1 + index % 30000);
}

std::shared_ptr<DecodedAudioFrame> FrameOf(long long first, int count, int tag)
{
    auto frame = std::make_shared<DecodedAudioFrame>();
    frame->samples = new short[static_cast<size_t>(count) * channels];
    for (int i = 0; i < count; ++i) {
        frame->samples[i * channels] = LeftAt(first + i);
        frame->samples[i * channels + 1] = static_cast<short>(-LeftAt(first + i));
    }
    frame->sampleCount = frame->sampleCapacity = count * channels;
    frame->frameCount = count;
    frame->sampleRate = sampleRate;
    frame->startTime = first * 1000;
    frame->endTime = (first + count) * 1000 - 1;
    frame->tag = tag; // different tags cause a stretch, here by 0 frames
    return frame;
}

void Rest()
{
    std::this_thread::sleep_for(std::chrono::microseconds(20));
}

struct Shared
{
    DecodedAudio cache;
    std::atomic<long long> outputIndex{5000};
    std::atomic<bool> isOver{false};
    std::atomic<int> growths{0};
    std::atomic<int> clears{0};
    std::atomic<int> passes{0}; // of the decoding thread
};

// Keeps three seconds cached ahead of the output, and clears everything now and then.
class DecodingThread
{
public:
    explicit DecodingThread(Shared& shared, unsigned long long seed) : shared(shared), random(seed) {}

    void Run()
    {
        Restart();
        while (!shared.isOver) {
            long long const output = shared.outputIndex;
            if (output < first || output > next)
                Restart();
            else if (next > output + 3000)
                Rest();
            else
                Append();
            shared.cache.UpdateCache((output - 500) * 1000, (output + 20000) * 1000);
            shared.cache.UpdateStartEndTimes(); // a frame in front is compared with the kept start
            if (shared.cache.FirstFrame())
                first = shared.cache.FirstFrame()->startTime / 1000;
            Disturb();
            ++shared.passes;
        }
    }

private:
    void Append()
    {
        int const count = static_cast<int>(random.Between(1, 60));
        int const tag = static_cast<int>(random.Between(0, 1));
        int const length = shared.cache.GetMaxFrameCount();
        if (random.OneIn(10) && first >= 100) {
            shared.cache.AppendFrame(FrameOf(first - count, count, tag));
            first -= count;
        } else {
            shared.cache.AppendFrame(FrameOf(next, count, tag));
            next += count;
        }
        shared.growths += shared.cache.GetMaxFrameCount() > length;
    }

    void Disturb()
    {
        long long const kind = random.Between(1, 2000);
        if (kind <= 6) {
            shared.cache.Clear();
            Restart();
        } else if (kind <= 12) {
            shared.cache.ForceClear();
            Restart();
        } else if (kind <= 15) {
            shared.cache.AppendFrame(nullptr);
            Restart();
        } else if (kind <= 18) {
            // Leaves a free slot, so that the ring can grow. If the frames do not fit in their present slots, they are
            // released.
            int const least = shared.cache.GetFrameCount() + 2;
            shared.cache.SetMaxFrameCount(std::max(static_cast<int>(random.Between(8, 40)), least));
            if (!shared.cache.FirstFrame())
                Restart();
        } else if (kind <= 30) {
            shared.cache.FlushPaBuffer();
        } else if (kind <= 40) {
            shared.cache.PaResetDiffCounter();
        }
    }

    void Restart()
    {
        shared.cache.Clear();
        ++shared.clears;
        first = next = std::max(0LL, shared.outputIndex - random.Between(0, 100));
    }

    Shared& shared;
    WalkRandom random;
    long long first = 0; // first cached sample
    long long next = 0;  // behind the last cached sample
};

// Plays, changes speed, and jumps.
class OutputThread
{
public:
    explicit OutputThread(Shared& shared, unsigned long long seed) : shared(shared), random(seed) {}

    void PlayBlock()
    {
        if (random.OneIn(50))
            Jump();
        static constexpr double speeds[] = {0.25, 0.5, 0.8, 1.5, 2.0, 4.0};
        double const speed = random.OneIn(4) ? random.AnyOf(speeds) : 1.0;
        int const frames = static_cast<int>(random.Between(1, 300));
        block.assign(static_cast<size_t>(frames * channels), 0x5a5a);
        shared.cache.PaResetDiffCounter(); // a lookup in the middle of a frame counts as drift
        int const written = shared.cache.PaFillBuffer(block.data(), frames, channels, sampleRate, index * 1000, 1.0,
                                                      !isAtPlace || random.OneIn(10), speed);
        ASSERT_EQ(written, frames);
        int const sounding = CountSounding();
        if (speed == 1.0)
            CheckCounting(sounding);
        else
            CheckOrder(sounding, static_cast<int>(std::ceil(speed)));
        isAtPlace = speed == 1.0 && sounding == frames;
        shared.outputIndex = index;
        full += sounding == frames;
        if (sounding == 0)
            Rest();
    }

    int Full() const { return full; }

private:
    // Plays an earlier place only when the decoding thread has seen the jump: it refills, from the other end, the slots
    // that it drops behind the former place; the slot after the output's would then hold another part of the sound.
    void Jump()
    {
        long long const from = std::exchange(index, std::max(1000LL, index + random.Between(-3000, 4000)));
        isAtPlace = false;
        if (index >= from)
            return;
        shared.outputIndex = index;
        for (int const known = shared.passes + 2; shared.passes - known < 0;)
            std::this_thread::yield();
    }

    // The frames before the silence, if any; nothing but silence may follow.
    int CountSounding()
    {
        auto const silence = std::find(block.begin(), block.end(), short{0});
        auto const sound = std::find_if(silence, block.end(), [](short value) { return value != 0; });
        EXPECT_EQ(sound, block.end()) << *sound << " after silence from " << silence - block.begin();
        return static_cast<int>(silence - block.begin()) / channels;
    }

    void CheckCounting(int sounding)
    {
        for (int i = 0; i < sounding; ++i, ++index) {
            ASSERT_EQ(block[i * channels], LeftAt(index)) << i << " frames into a block";
            ASSERT_EQ(block[i * channels + 1], -LeftAt(index));
        }
    }

    // Samples never go back, and never skip more than the speed allows.
    void CheckOrder(int sounding, int mostStep)
    {
        long long at = sounding > 0 ? index + Distance(LeftAt(index), block[0]) : index;
        ASSERT_LE(at - index, mostStep);
        for (int i = 1; i < sounding; ++i) {
            long long const step = Distance(block[(i - 1) * channels], block[i * channels]);
            ASSERT_LE(step, mostStep) << i << " frames into a block from " << index << ": " << block[(i - 1) * channels]
                                      << " before " << block[i * channels];
            ASSERT_EQ(block[i * channels], -block[i * channels + 1]);
            at += step;
        }
        index = sounding > 0 ? at + 1 : index;
    }

    static int Distance(short from, short to) { return to >= from ? to - from : to - from + 30000; }

    Shared& shared;
    WalkRandom random;
    std::vector<short> block;
    long long index = 5000; // of the next sample
    bool isAtPlace = false;
    int full = 0;
};

// The block that this thread is filling; counts the frames released during the fill, and those released before the
// block was complete.
struct FillUnderWay
{
    std::vector<short> const* block = nullptr;
    int released = 0;
    int releasedEarly = 0;
};

thread_local FillUnderWay underWay;
constexpr short notWritten = -7;

void ReleaseWatched(DecodedAudioFrame* frame)
{
    if (underWay.block) {
        ++underWay.released;
        underWay.releasedEarly += underWay.block->back() == notWritten ? 1 : 0;
    }
    delete frame;
}

// Drops each frame while it is being played, so that only the output holds it.
class DroppingThread
{
public:
    explicit DroppingThread(DecodedAudio& cache)
        : thread([this, &cache] {
              for (isRunning = true; !isOver;) {
                  auto first = cache.FirstFrame();
                  bool const isPlayed = first.use_count() > 2; // `first` and the cache hold two
                  first.reset();
                  if (isPlayed)
                      cache.PopFront();
              }
          })
    {
        while (!isRunning)
            std::this_thread::yield();
    }

    ~DroppingThread()
    {
        isOver = true;
        thread.join();
    }

private:
    std::atomic<bool> isRunning{false};
    std::atomic<bool> isOver{false};
    std::thread thread;
};

// Appends `frames` frames of `length` values that report which thread releases them.
void AppendWatched(DecodedAudio& cache, int frames, int length)
{
    for (int i = 0; i < frames; ++i) {
        auto frame = std::make_unique<DecodedAudioFrame>();
        frame->samples = new short[static_cast<size_t>(length)]();
        frame->sampleCount = frame->sampleCapacity = frame->frameCount = length;
        frame->sampleRate = sampleRate;
        frame->startTime = i * length * 1000LL;
        frame->endTime = frame->startTime + length * 1000LL - 1;
        cache.AppendFrame({frame.release(), ReleaseWatched});
    }
}

} // namespace

TEST(DecodedAudioThreadsTest, ReleasesFramesThatItAloneHoldsWhenTheBlockIsComplete)
{
    constexpr int frames = 20;
    constexpr int length = 20000;
    int callsWithSeveral = 0;
    // 20 such calls take less than a second; the limit is for a machine that never runs both threads at the same time.
    auto const start = std::chrono::steady_clock::now();
    while (callsWithSeveral < 20 && std::chrono::steady_clock::now() - start < std::chrono::seconds(20)) {
        DecodedAudio cache;
        cache.SetMaxFrameCount(frames + 2);
        AppendWatched(cache, frames, length);
        DroppingThread const dropping(cache);
        std::vector<short> block(frames * length, notWritten);
        underWay = {&block};
        cache.PaFillBuffer(block.data(), frames * length, 1, sampleRate, 0, 1.0, true, 1.0);
        FillUnderWay const done = std::exchange(underWay, {});
        callsWithSeveral += done.released > 1 ? 1 : 0;
        ASSERT_EQ(done.releasedEarly, 0);
    }
    if (callsWithSeveral == 0)
        GTEST_SKIP() << "the two threads never ran at the same time";
}

TEST(DecodedAudioThreadsTest, PlaysEverySampleInItsPlaceWhileTheCacheChanges)
{
    auto const seed = WalkSeed();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Shared shared;
    shared.cache.SetMaxFrameCount(8);
    std::thread decoding([&shared, seed] { DecodingThread(shared, seed).Run(); });
    OutputThread output(shared, seed + 1);
    // At least `blocks` blocks, and until a tenth of that number were full of sound: how soon depends on the scheduler.
    auto const blocks = WalkOption("TAVOLIN_THREADS_BLOCKS", 20000);
    for (unsigned long long i = 0; i < 20 * blocks && !testing::Test::HasFailure(); ++i) {
        if (i >= blocks && output.Full() >= static_cast<int>(blocks / 10))
            break;
        output.PlayBlock();
    }
    shared.isOver = true;
    decoding.join();
    EXPECT_GE(output.Full(), static_cast<int>(blocks / 10));
    // Both happened beside the output; seeds give 170000 clears and 2000 growths or more.
    EXPECT_GT(shared.clears, 3);
    EXPECT_GT(shared.growths, 3);
}
