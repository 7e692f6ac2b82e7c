#include "tests/cache/AudioScene.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

namespace {

using Values = std::vector<short>;
using Starts = std::vector<long long>;
using Frames = std::vector<std::weak_ptr<DecodedAudioFrame>>;

constexpr double infinity = std::numeric_limits<double>::infinity();

std::shared_ptr<DecodedAudioFrame> FrameAt(long long start, long long end, int tag = -1)
{
    auto frame = SoundOf({1, 2, 3, 4}, 0, 2);
    frame->startTime = start;
    frame->endTime = end;
    frame->tag = tag;
    return frame;
}

// The starts in time order, found through the public lookups.
Starts StartsOf(DecodedAudio const& cache)
{
    Starts starts;
    if (!cache.FirstFrame())
        return starts;
    int slot = 0;
    while (cache.GetFrameIndexBinarySearch(cache.FirstFrame()->startTime, slot, slot) < 0)
        ++slot;
    for (auto time = cache.FirstFrame()->startTime; slot >= 0; slot = cache.GetNextFrameIndex(slot)) {
        starts.push_back(time);
        if (time == cache.LastFrame()->startTime)
            break;
        for (; cache.GetFrameIndex(time) == slot;)
            ++time;
    }
    return starts;
}

int CountAlive(Frames const& frames)
{
    int count = 0;
    for (auto const& frame : frames)
        count += frame.expired() ? 0 : 1;
    return count;
}

Frames AppendWatchedFrames(DecodedAudio& cache, int count)
{
    Frames frames;
    for (int i = 0; i < count; ++i) {
        auto frame = CountingFrame(i);
        frames.push_back(frame);
        cache.AppendFrame(std::move(frame));
    }
    return frames;
}

} // namespace

// --- The container ---

TEST(DecodedAudioTest, StoresNothingWithoutSlots)
{
    DecodedAudio cache;
    cache.AppendFrame(FrameAt(0, 9));
    cache.AppendFrame(nullptr);
    cache.PushBack(FrameAt(0, 9));
    cache.PushFront(FrameAt(0, 9));
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(cache.GetMaxFrameCount(), 0);
    EXPECT_EQ(cache.GetSize(), 0);
    EXPECT_EQ(cache.FirstFrame(), nullptr);
    EXPECT_EQ(cache.LastFrame(), nullptr);
    EXPECT_EQ(cache.GetFrameIndex(0), -1);
    EXPECT_EQ(cache.GetNextFrameIndex(0), -1);
    EXPECT_EQ(FilledValues(cache, 3, 0), (Values{0, 0, 0}));
}

TEST(DecodedAudioTest, KeepsFramesInOrderAndWithoutGaps)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(FrameAt(100, 150));
    cache.AppendFrame(FrameAt(200, 250));
    cache.AppendFrame(FrameAt(50, 60));
    EXPECT_EQ(StartsOf(cache), (Starts{50, 100, 200}));
    EXPECT_EQ(cache.FirstFrame()->endTime, 99); // the end of the new frame in front is moved
    EXPECT_EQ(cache.GetStartTime(), 50);
    EXPECT_EQ(cache.GetEndTime(), 250);
    EXPECT_EQ(cache.GetSize(), 12);
    EXPECT_EQ(cache.GetFrameIndex(99), 9);
    EXPECT_EQ(cache.GetFrameIndex(100), 0);
    EXPECT_EQ(cache.GetFrameIndex(199), 0);
}

TEST(DecodedAudioTest, LeavesEverythingAsItIsForADuplicate)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(FrameAt(100, 150));
    cache.AppendFrame(FrameAt(200, 250));
    cache.LastFrame()->endTime = 300; // so that updated times would show
    cache.AppendFrame(FrameAt(100, 120));
    cache.AppendFrame(FrameAt(200, 220));
    EXPECT_EQ(StartsOf(cache), (Starts{100, 200}));
    EXPECT_EQ(cache.GetEndTime(), 250);
    EXPECT_EQ(cache.GetSize(), 8);
}

TEST(DecodedAudioTest, DropsAFrameThatStartsInsideTheCachedSpanAndTakesNewTimes)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(FrameAt(100, 150));
    cache.AppendFrame(FrameAt(200, 250));
    cache.LastFrame()->endTime = 300;
    cache.AppendFrame(FrameAt(150, 180));
    EXPECT_EQ(StartsOf(cache), (Starts{100, 200}));
    EXPECT_EQ(cache.GetEndTime(), 300);
}

TEST(DecodedAudioTest, MovesANegativeStartToZeroOnlyWhenTheEndIsNotNegative)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(FrameAt(-10, -1));
    EXPECT_EQ(cache.GetFrameCount(), 0);
    cache.AppendFrame(FrameAt(-10, 0));
    EXPECT_EQ(StartsOf(cache), (Starts{0}));
    EXPECT_EQ(cache.GetEndTime(), 0);
}

TEST(DecodedAudioTest, ComparesAFrameInFrontWithTheKeptStartTime)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    for (long long const start : {100, 200, 300})
        cache.AppendFrame(FrameAt(start, start + 99));
    cache.PopFront(); // the kept start time is still 100
    cache.AppendFrame(FrameAt(150, 160));
    EXPECT_EQ(StartsOf(cache), (Starts{200, 300})); // now it is 200
    EXPECT_EQ(cache.GetStartTime(), 200);
    cache.PopFront();
    cache.AppendFrame(FrameAt(50, 60));
    EXPECT_EQ(cache.FirstFrame()->endTime, 199);
}

TEST(DecodedAudioTest, StretchesTheEarlierFrameToMeetOneOfAnotherTag)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    auto const first = FrameAt(0, 1999); // 2 frames of 2 channels at 1000 Hz
    cache.AppendFrame(first);
    cache.AppendFrame(FrameAt(5500, 7499, 3)); // 3.5 frames later
    EXPECT_EQ(first->frameCount, 5);
    EXPECT_EQ(first->sampleCount, 10);
    EXPECT_EQ(first->sampleCapacity, 4);
    EXPECT_EQ(first->endTime, 5499);
    EXPECT_EQ(cache.GetSize(), 8);               // as they were appended
    cache.AppendFrame(FrameAt(20000, 21999, 3)); // same tag: only the end moves
    EXPECT_EQ(cache.GetFrameCount(), 3);
    EXPECT_EQ(cache.GetSize(), 12);
    cache.PopFront();
    EXPECT_EQ(cache.GetSize(), 2); // subtracts its present size
}

TEST(DecodedAudioTest, ShrinksTheEarlierFrameThatOverlapsOneOfAnotherTag)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    auto const first = SoundOf(Counting(20), 0, 2); // 10 frames
    cache.AppendFrame(first);
    cache.AppendFrame(FrameAt(7500, 9000, 3)); // 2.5 frames overlap
    EXPECT_EQ(first->frameCount, 8);
    EXPECT_EQ(first->sampleCount, 16);
    EXPECT_EQ(first->endTime, 7499);
}

TEST(DecodedAudioTest, StretchesTheNewcomerInFrontOfOneOfAnotherTag)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(FrameAt(10000, 11999));
    auto const newcomer = FrameAt(2000, 3999, 3);
    cache.AppendFrame(newcomer);
    EXPECT_EQ(newcomer->frameCount, 8);
    EXPECT_EQ(newcomer->sampleCount, 16);
    EXPECT_EQ(newcomer->endTime, 9999);
    EXPECT_EQ(cache.GetSize(), 20);
}

TEST(DecodedAudioTest, DoesNotStretchAFrameWithoutSamplesOrChannels)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    auto const none = SoundOf({}, 0);
    auto const noChannels = SoundOf({1, 2}, 1000);
    noChannels->frameCount = 5;
    cache.AppendFrame(none);
    noChannels->tag = 1;
    cache.AppendFrame(noChannels);
    cache.AppendFrame(FrameAt(50000, 60000, 2));
    EXPECT_EQ(none->frameCount, 0);
    EXPECT_EQ(none->sampleCount, 0);
    EXPECT_EQ(none->endTime, 999);
    EXPECT_EQ(noChannels->frameCount, 5);
    EXPECT_EQ(noChannels->sampleCount, 2);
    EXPECT_EQ(noChannels->endTime, 49999);
}

TEST(DecodedAudioTest, DoesNotStretchBeyondThirtyTwoBits)
{
    for (long long const start : {2147483648LL * 1000, 4000000000000000LL, std::numeric_limits<long long>::max()}) {
        DecodedAudio cache;
        cache.SetMaxFrameCount(10);
        auto const first = FrameAt(0, 1999);
        cache.AppendFrame(first);
        cache.AppendFrame(FrameAt(start, start, 3));
        EXPECT_EQ(first->frameCount, 2);
        EXPECT_EQ(first->sampleCount, 4);
        EXPECT_EQ(first->endTime, start - 1);
    }
}

TEST(DecodedAudioTest, GrowsByHalfWhenOneSlotIsLeft)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(4);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(cache.GetMaxFrameCount(), 4);
    cache.AppendFrame(CountingFrame(3));
    EXPECT_EQ(cache.GetMaxFrameCount(), 6);
    EXPECT_EQ(cache.GetFrameCount(), 4);
    EXPECT_EQ(cache.GetFrameIndex(0), 0);
    EXPECT_EQ(cache.GetFrameIndex(30000), 3);

    DecodedAudio two;
    two.SetMaxFrameCount(2);
    AppendCountingFrames(two, 1);
    EXPECT_EQ(two.GetMaxFrameCount(), 2);
    two.AppendFrame(CountingFrame(1));
    EXPECT_EQ(two.GetMaxFrameCount(), 3);
    EXPECT_EQ(two.GetFrameCount(), 2);
}

TEST(DecodedAudioTest, GrowsEvenWhenTheFrameIsThenDropped)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(4);
    AppendCountingFrames(cache, 3);
    cache.AppendFrame(FrameAt(5000, 5999));
    EXPECT_EQ(cache.GetFrameCount(), 3);
    EXPECT_EQ(cache.GetMaxFrameCount(), 6);
}

TEST(DecodedAudioTest, LaysAWrappedRingOutFromSlotZeroWhenItGrows)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(5);
    AppendCountingFrames(cache, 4);
    cache.PopFront();
    cache.PopFront();
    cache.AppendFrame(CountingFrame(4));
    cache.AppendFrame(CountingFrame(5)); // slots 2, 3, 4, 0
    ASSERT_EQ(cache.GetFrameIndex(20000), 2);
    ASSERT_EQ(cache.GetFrameIndex(50000), 0);
    cache.AppendFrame(CountingFrame(6));
    EXPECT_EQ(cache.GetMaxFrameCount(), 7);
    EXPECT_EQ(cache.GetFrameIndex(20000), 0);
    EXPECT_EQ(cache.GetFrameIndex(50000), 3);
    EXPECT_EQ(cache.GetFrameIndex(60000), 4);
}

TEST(DecodedAudioTest, MakesTheOutputLookUpItsPlaceAfterGrowth)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(4);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(FilledValues(cache, 5, 0), (Values{1, 2, 3, 4, 5}));
    cache.AppendFrame(CountingFrame(3));
    EXPECT_EQ(FilledValues(cache, 5, 20000), (Values{21, 22, 23, 24, 25}));
}

TEST(DecodedAudioTest, ReplacesTheOnlyFrameOfASingleSlotAndKeepsItsSize)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(1);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(cache.GetMaxFrameCount(), 1);
    EXPECT_EQ(StartsOf(cache), (Starts{20000}));
    EXPECT_EQ(cache.GetSize(), 30);
    cache.PopFront();
    EXPECT_EQ(cache.GetSize(), 20);
    EXPECT_EQ(cache.GetFrameCount(), 0);
}

TEST(DecodedAudioTest, CountsNoFrameOnceEveryFrameIsPopped)
{
    for (int const length : {1, 2, 5}) {
        for (bool const fromFront : {true, false}) {
            DecodedAudio cache;
            cache.SetMaxFrameCount(length);
            cache.AppendFrame(CountingFrame(0));
            fromFront ? cache.PopFront() : cache.PopBack();
            EXPECT_EQ(cache.GetFrameCount(), 0);
            EXPECT_EQ(cache.FirstFrame(), nullptr);
            EXPECT_EQ(cache.LastFrame(), nullptr);
            EXPECT_EQ(cache.GetEndTime(), 9999);
            cache.UpdateStartEndTimes();
            EXPECT_EQ(cache.GetStartTime(), 0);
            EXPECT_EQ(cache.GetEndTime(), 0);
            cache.PopFront();
            cache.PopBack();
            EXPECT_EQ(cache.GetSize(), 0);
            cache.AppendFrame(CountingFrame(7));
            EXPECT_EQ(cache.GetFrameIndex(70000), 0);
            EXPECT_EQ(cache.GetFrameCount(), 1);
        }
    }
}

TEST(DecodedAudioTest, TrimsToARangeAndKeepsEveryFrameThatOverlapsIt)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 6);
    cache.UpdateCache(9999, 50000);
    EXPECT_EQ(cache.GetFrameCount(), 6);
    cache.UpdateCache(10000, 49999);
    EXPECT_EQ(StartsOf(cache), (Starts{10000, 20000, 30000, 40000}));
    EXPECT_EQ(cache.GetStartTime(), 0); // until the next append
    EXPECT_EQ(cache.GetEndTime(), 59999);
    EXPECT_EQ(cache.GetSize(), 40);
    cache.UpdateCache(100000, 200000);
    EXPECT_EQ(cache.GetFrameCount(), 0);
    cache.UpdateCache(0, 0);
    EXPECT_EQ(cache.GetFrameCount(), 0);
}

TEST(DecodedAudioTest, ClearsAtOnceAndReleasesTwoFramesAnAppend)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(20);
    Frames const frames = AppendWatchedFrames(cache, 19);
    cache.Clear();
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(cache.GetSize(), 0);
    EXPECT_EQ(cache.GetStartTime(), 0);
    EXPECT_EQ(cache.GetEndTime(), 0);
    EXPECT_EQ(cache.GetMaxFrameCount(), 20);
    EXPECT_EQ(CountAlive(frames), 19);
    cache.AppendFrame(CountingFrame(0)); // slot 19, which is empty, and slot 18
    EXPECT_EQ(CountAlive(frames), 18);
    for (int i = 0; i < 4; ++i)
        cache.AppendFrame(CountingFrame(0)); // duplicates, which also release
    EXPECT_EQ(CountAlive(frames), 10);
    EXPECT_TRUE(frames[10].expired());
    EXPECT_FALSE(frames[9].expired());
    cache.ForceClear();
    EXPECT_EQ(CountAlive(frames), 0);
}

TEST(DecodedAudioTest, ReleasesEverythingWithItself)
{
    Frames frames;
    {
        DecodedAudio cache;
        cache.SetMaxFrameCount(20);
        frames = AppendWatchedFrames(cache, 5);
        cache.AppendFrame(nullptr); // as Clear
        EXPECT_EQ(cache.GetFrameCount(), 0);
        Frames const more = AppendWatchedFrames(cache, 5);
        frames.insert(frames.end(), more.begin(), more.end());
        FilledValues(cache, 3, 0);
    }
    EXPECT_EQ(CountAlive(frames), 0);
}

TEST(DecodedAudioTest, KeepsWhatStillFitsANewLength)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    Frames const frames = AppendWatchedFrames(cache, 5);
    cache.SetMaxFrameCount(5);
    EXPECT_EQ(cache.GetFrameCount(), 5);
    EXPECT_EQ(cache.GetFrameIndex(40000), 4);
    EXPECT_EQ(FilledValues(cache, 3, 8000), (Values{9, 10, 11}));
    cache.SetMaxFrameCount(20);
    EXPECT_EQ(cache.GetMaxFrameCount(), 20);
    EXPECT_EQ(cache.GetFrameCount(), 5);
    EXPECT_EQ(FilledValues(cache, 3, 0), (Values{12, 13, 14})); // the play position is unchanged
    cache.SetMaxFrameCount(4);
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(cache.GetSize(), 0);
    EXPECT_EQ(FilledValues(cache, 3, 0), (Values{0, 0, 0}));
    EXPECT_EQ(CountAlive(frames), 0);
    cache.SetMaxFrameCount(-5);
    EXPECT_EQ(cache.GetMaxFrameCount(), 0);
}

TEST(DecodedAudioTest, ReleasesAWrappedRingThatIsGivenAnotherLength)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(5);
    AppendCountingFrames(cache, 4);
    cache.PopFront();
    cache.PopFront();
    cache.AppendFrame(CountingFrame(4));
    cache.AppendFrame(CountingFrame(5));
    cache.SetMaxFrameCount(5);
    EXPECT_EQ(cache.GetFrameCount(), 4);
    cache.SetMaxFrameCount(8);
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(cache.GetSize(), 0);
}

TEST(DecodedAudioTest, KeepsItsPendingReleaseInsideAShorterArray)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    Frames const frames = AppendWatchedFrames(cache, 8);
    cache.Clear();
    cache.SetMaxFrameCount(3);
    EXPECT_EQ(CountAlive(frames), 3);
    cache.AppendFrame(CountingFrame(0));
    EXPECT_EQ(CountAlive(frames), 1);
    cache.AppendFrame(CountingFrame(0));
    cache.AppendFrame(CountingFrame(0));
    EXPECT_EQ(CountAlive(frames), 0);
    cache.Clear();
    cache.SetMaxFrameCount(0);
    cache.AppendFrame(CountingFrame(0));
    EXPECT_EQ(cache.GetFrameCount(), 0);
}

TEST(DecodedAudioTest, WrapsOntoTheFirstFrameWhenAFullRingIsPushedDirectly)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(3);
    for (int i = 0; i < 4; ++i)
        cache.PushBack(CountingFrame(i)); // the fourth takes slot 0, where the ring starts
    EXPECT_EQ(cache.GetFrameCount(), 1);
    EXPECT_EQ(cache.FirstFrame()->startTime, 30000);
    EXPECT_EQ(cache.GetSize(), 40);
    cache.ForceClear();
    for (int i = 4; i > 0; --i) {
        cache.PushFront(CountingFrame(i));
        cache.UpdateStartEndTimes();
    }
    EXPECT_EQ(cache.GetFrameCount(), 1);
    EXPECT_EQ(cache.FirstFrame()->startTime, 10000);
}

TEST(DecodedAudioTest, IgnoresAnEmptyPointerPushedDirectly)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(3);
    cache.PushBack(nullptr);
    cache.PushFront(nullptr);
    EXPECT_EQ(cache.GetFrameCount(), 0);
}

TEST(DecodedAudioTest, FindsBothEndsOfAFrameAndNothingInAGap)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    EXPECT_EQ(cache.GetFrameIndex(0), -1);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(cache.GetFrameIndex(10000), 1);
    EXPECT_EQ(cache.GetFrameIndex(19999), 1);
    EXPECT_EQ(cache.GetFrameIndex(30000), -1);
    EXPECT_EQ(cache.GetFrameIndex(-1), -1);
    cache.FirstFrame()->endTime = 5000;
    EXPECT_EQ(cache.GetFrameIndex(5000), 0);
    EXPECT_EQ(cache.GetFrameIndex(5001), -1);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, 2, 1), -1);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, 0, 9), -1); // slot 4 is empty
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, INT_MAX, INT_MAX), -1);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, -9, -9), -1);
}

TEST(DecodedAudioTest, StepsThroughTheSlotsOfTheRing)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(5);
    EXPECT_EQ(cache.GetNextFrameIndex(4), -1);
    AppendCountingFrames(cache, 4);
    EXPECT_EQ(cache.GetNextFrameIndex(-1), -1);
    EXPECT_EQ(cache.GetNextFrameIndex(0), 1);
    EXPECT_EQ(cache.GetNextFrameIndex(3), 4); // next to the end
    EXPECT_EQ(cache.GetNextFrameIndex(4), 0);
    EXPECT_EQ(cache.GetNextFrameIndex(INT_MAX), 0);
    EXPECT_EQ(cache.GetPreviousFrameIndex(0), -1);
    EXPECT_EQ(cache.GetPreviousFrameIndex(1), 0);
    EXPECT_EQ(cache.GetPreviousFrameIndex(INT_MIN), -1);
    cache.PopFront();
    cache.PopFront();
    cache.AppendFrame(CountingFrame(4));
    cache.AppendFrame(CountingFrame(5)); // slots 2, 3, 4, 0
    EXPECT_EQ(cache.GetNextFrameIndex(4), 0);
    EXPECT_EQ(cache.GetNextFrameIndex(0), -1);
    EXPECT_EQ(cache.GetPreviousFrameIndex(0), 4);
    EXPECT_EQ(cache.GetPreviousFrameIndex(2), -1);
    EXPECT_EQ(cache.GetPreviousFrameIndex(3), 2);
    EXPECT_EQ(cache.GetFrameIndex(20000), 2);
    EXPECT_EQ(cache.GetFrameIndex(49999), 4);
    EXPECT_EQ(cache.GetFrameIndex(50000), 0);
}

// --- The fill ---

TEST(DecodedAudioTest, FillsWithSilenceWhenNothingIsCached)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    Block const block = Fill(cache, 4, 0);
    EXPECT_EQ(block.written, 4);
    EXPECT_EQ(block.values, (Values{0, 0, 0, 0}));
}

TEST(DecodedAudioTest, StartsAtTheTimeAndGoesOnWithoutAGap)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(FilledValues(cache, 4, 4000), (Values{5, 6, 7, 8}));
    EXPECT_EQ(FilledValues(cache, 4, 8000), (Values{9, 10, 11, 12}));
    EXPECT_EQ(FilledValues(cache, 3, 20000), (Values{13, 14, 15})); // the time is only used to measure drift
    EXPECT_EQ(FilledValues(cache, 3, 20999, true), (Values{21, 22, 23}));
    cache.FlushPaBuffer();
    EXPECT_EQ(FilledValues(cache, 2, 21000), (Values{22, 23}));
}

TEST(DecodedAudioTest, PlaysSilenceAfterTheLatestFrameAndLooksUpAgain)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 1);
    EXPECT_EQ(FilledValues(cache, 4, 8000), (Values{9, 10, 0, 0}));
    cache.AppendFrame(CountingFrame(1));
    EXPECT_EQ(FilledValues(cache, 4, 12000), (Values{13, 14, 15, 16}));
}

TEST(DecodedAudioTest, PlaysSilenceForATimeThatNoFrameCovers)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(CountingFrame(2));
    EXPECT_EQ(FilledValues(cache, 3, 19999), (Values{0, 0, 0}));
    EXPECT_EQ(FilledValues(cache, 3, 20000), (Values{21, 22, 23}));
}

TEST(DecodedAudioTest, ScalesClipsAndTruncates)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(SoundOf({20000, -20000, -3, 3, 1, -1, -32768, 32767}, 0));
    auto const at = [&cache](double volume) { return FilledValues(cache, 8, 0, true, 1.0, volume); };
    EXPECT_EQ(at(2.0), (Values{32767, -32768, -6, 6, 2, -2, -32768, 32767}));
    EXPECT_EQ(at(0.5), (Values{10000, -10000, -1, 1, 0, 0, -16384, 16383}));
    EXPECT_EQ(at(0.9), (Values{18000, -18000, -2, 2, 0, 0, -29491, 29490}));
    EXPECT_EQ(at(-1.0), (Values{-20000, 20000, 3, -3, -1, 1, 32767, -32767}));
    EXPECT_EQ(at(0.0), (Values{0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(at(1e300), (Values{32767, -32768, -32768, 32767, 32767, -32768, -32768, 32767}));
    EXPECT_EQ(at(std::nan("")), (Values{0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(DecodedAudioTest, TakesAnInfiniteVolumeForOneThatClipsEverything)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(SoundOf({1, 0, -1}, 0));
    EXPECT_EQ(FilledValues(cache, 3, 0, true, 1.0, infinity), (Values{32767, 0, -32768}));
    EXPECT_EQ(FilledValues(cache, 3, 0, true, 1.0, -infinity), (Values{-32768, 0, 32767}));
}

TEST(DecodedAudioTest, DropsEverySecondFrameAtDoubleSpeed)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(FilledValues(cache, 7, 0, false, 2.0), (Values{1, 3, 5, 7, 9, 11, 13}));
    EXPECT_EQ(FilledValues(cache, 3, 0, false, 2.0), (Values{15, 17, 19}));
}

TEST(DecodedAudioTest, RepeatsFramesAtHalfSpeed)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 2);
    EXPECT_EQ(FilledValues(cache, 7, 0, false, 0.5), (Values{1, 2, 2, 3, 3, 4, 4}));
    EXPECT_EQ(FilledValues(cache, 4, 0, false, 0.5), (Values{5, 5, 6, 6}));
}

TEST(DecodedAudioTest, KeepsThePhaseBetweenBlocksAndClearsItAtAReset)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 3);
    EXPECT_EQ(FilledValues(cache, 1, 0, false, 2.0), (Values{1}));
    EXPECT_EQ(FilledValues(cache, 3, 0, false, 1.0), (Values{3, 4, 5})); // the drop that was due
    EXPECT_EQ(FilledValues(cache, 1, 0, true, 2.0), (Values{1}));
    EXPECT_EQ(FilledValues(cache, 3, 0, true, 1.0), (Values{1, 2, 3}));
    EXPECT_EQ(FilledValues(cache, 1, 0, true, 0.25), (Values{1})); // phase 3
    EXPECT_EQ(FilledValues(cache, 4, 0), (Values{2, 2, 2, 3}));    // two repetitions were due
}

TEST(DecodedAudioTest, KeepsChannelsTogetherAtAnySpeed)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(SoundOf({1, -1, 2, -2, 3, -3, 4, -4}, 0, 2));
    Values stereo(8, -7);
    EXPECT_EQ(cache.PaFillBuffer(stereo.data(), 4, 2, 1000, 0, 1.0, true, 0.5), 4);
    EXPECT_EQ(stereo, (Values{1, -1, 2, -2, 2, -2, 3, -3}));
    EXPECT_EQ(cache.PaFillBuffer(stereo.data(), 2, 2, 1000, 0, 1.0, true, 2.0), 2);
    EXPECT_EQ(stereo, (Values{1, -1, 3, -3, 2, -2, 3, -3}));
    cache.ForceClear();
    cache.AppendFrame(SoundOf(Counting(18), 0, 6));
    Values wide(18, -7);
    EXPECT_EQ(cache.PaFillBuffer(wide.data(), 3, 6, 1000, 1000, 1.0, false, 0.5), 3);
    EXPECT_EQ(wide, (Values{7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 13, 14, 15, 16, 17, 18}));
}

TEST(DecodedAudioTest, HoldsItsFrameWhileTheCacheLetsItGo)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    Frames const frames = AppendWatchedFrames(cache, 3);
    EXPECT_EQ(FilledValues(cache, 4, 0), (Values{1, 2, 3, 4}));
    cache.UpdateCache(20000, 30000);
    EXPECT_FALSE(frames[0].expired());
    EXPECT_TRUE(frames[1].expired());
    EXPECT_EQ(FilledValues(cache, 8, 4000), (Values{5, 6, 7, 8, 9, 10, 0, 0})); // its neighbour has been removed
    EXPECT_TRUE(frames[0].expired());
    EXPECT_EQ(FilledValues(cache, 2, 20000), (Values{21, 22}));
    cache.ForceClear();
    EXPECT_FALSE(frames[2].expired());
    FilledValues(cache, 1, 0, true);
    EXPECT_TRUE(frames[2].expired());
}

TEST(DecodedAudioTest, ReleasesTheFrameItLeavesWhenTheBlockIsComplete)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    Values block(4, -7);
    Values blockAtRelease;
    auto frame = CountingFrame(0);
    auto* const watched = frame.get();
    cache.AppendFrame({watched, [&, frame](DecodedAudioFrame*) { blockAtRelease = block; }});
    frame.reset();
    EXPECT_EQ(FilledValues(cache, 4, 0), (Values{1, 2, 3, 4}));
    cache.ForceClear();
    cache.AppendFrame(CountingFrame(1));
    EXPECT_TRUE(blockAtRelease.empty());
    cache.PaFillBuffer(block.data(), 4, 1, 1000, 18000, 1.0, true, 1.0);
    EXPECT_EQ(blockAtRelease, (Values{19, 20, 0, 0}));
}

TEST(DecodedAudioTest, ReadsAStretchedFrameFromItsNewEndAndSilenceBeyondItsSamples)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(CountingFrame(0));
    EXPECT_EQ(FilledValues(cache, 4, 0), (Values{1, 2, 3, 4}));
    auto const second = SoundOf(Counting(10, 21), 13000);
    second->tag = 1;
    cache.AppendFrame(second); // the first one now counts 13 frames, of which 6 remain: 8, 9, 10 and silence
    EXPECT_EQ(FilledValues(cache, 8, 4000), (Values{8, 9, 10, 0, 0, 0, 21, 22}));
}

TEST(DecodedAudioTest, ReadsAShrunkFrameAsSilenceBeforeItsStart)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(CountingFrame(0));
    EXPECT_EQ(FilledValues(cache, 2, 0), (Values{1, 2}));
    auto const second = SoundOf(Counting(10, 21), 5000);
    second->tag = 1;
    cache.AppendFrame(second); // the first one now counts 5 frames, yet 8 remain: 3 before its first sample
    EXPECT_EQ(FilledValues(cache, 9, 2000), (Values{0, 0, 0, 1, 2, 3, 4, 5, 21}));
}

TEST(DecodedAudioTest, NeverReadsPastAFrameOfOtherChannels)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(SoundOf({1, 2, 3}, 0)); // mono, read as stereo: counted from its end, 6 values back
    Values stereo(8, -7);
    EXPECT_EQ(cache.PaFillBuffer(stereo.data(), 4, 2, 1000, 0, 1.0, true, 1.0), 4);
    EXPECT_EQ(stereo, (Values{0, 0, 0, 0, 2, 3, 0, 0}));
    cache.ForceClear();
    cache.AppendFrame(SoundOf({1, 2, 3, 4}, 0, 4)); // one frame of four channels, read as mono: its last value
    EXPECT_EQ(FilledValues(cache, 2, 0), (Values{4, 0}));
}

TEST(DecodedAudioTest, SkipsFramesWithoutSamples)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    cache.AppendFrame(CountingFrame(0));
    for (int i = 0; i < 3; ++i) {
        auto const empty = SoundOf({}, 10000 + i * 10);
        cache.AppendFrame(empty);
    }
    cache.AppendFrame(SoundOf(Counting(10, 11), 11000));
    EXPECT_EQ(FilledValues(cache, 12, 0), (Values{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

TEST(DecodedAudioTest, EndsARingOfFramesWithoutSamplesInSilence)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(3);
    for (int i = 0; i < 3; ++i)
        cache.PushBack(SoundOf({}, i * 10)); // every slot is used: the ring has no end
    cache.PopFront();
    cache.PushBack(SoundOf({}, 30));
    for (int slot = 0; slot < 3; ++slot)
        ASSERT_GE(cache.GetNextFrameIndex(slot), 0);
    cache.LastFrame()->endTime = 1000;
    EXPECT_EQ(Fill(cache, 4, 500, true).values, (Values{0, 0, 0, 0}));
    EXPECT_EQ(Fill(cache, 4, 500, true, 2.0).values, (Values{0, 0, 0, 0}));

    DecodedAudio single;
    single.SetMaxFrameCount(1);
    auto const only = SoundOf({}, 0);
    only->endTime = 1000;
    single.AppendFrame(only);
    EXPECT_EQ(Fill(single, 4, 0, true).values, (Values{0, 0, 0, 0}));
}

TEST(DecodedAudioTest, EndsASpeedThatNothingCanFollowInSilence)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(1); // its only frame is its own successor
    cache.AppendFrame(SoundOf({1, 2, 3}, 0));
    EXPECT_EQ(FilledValues(cache, 5, 0, true, 1.0), (Values{1, 2, 3, 1, 2}));
    EXPECT_EQ(FilledValues(cache, 4, 0, true, 4.0), (Values{1, 2, 3, 1}));
    EXPECT_EQ(FilledValues(cache, 3, 0, true, 1e300), (Values{1, 0, 0}));
    EXPECT_EQ(FilledValues(cache, 3, 0, true, 1e-300), (Values{1, 1, 1}));
}

TEST(DecodedAudioTest, ReturnsZeroAndTouchesNothingWithoutRoomForOutput)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 2);
    EXPECT_EQ(FilledValues(cache, 2, 0), (Values{1, 2}));
    Values values(4, -7);
    EXPECT_EQ(cache.PaFillBuffer(nullptr, 4, 1, 1000, 0, 1.0, true, 1.0), 0);
    EXPECT_EQ(cache.PaFillBuffer(values.data(), 0, 1, 1000, 0, 1.0, true, 1.0), 0);
    EXPECT_EQ(cache.PaFillBuffer(values.data(), -1, 1, 1000, 0, 1.0, true, 1.0), 0);
    EXPECT_EQ(cache.PaFillBuffer(values.data(), 4, 0, 1000, 0, 1.0, true, 1.0), 0);
    EXPECT_EQ(cache.PaFillBuffer(values.data(), 4, -2, 1000, 0, 1.0, true, 1.0), 0);
    EXPECT_EQ(values, (Values{-7, -7, -7, -7}));
    EXPECT_EQ(FilledValues(cache, 2, 0), (Values{3, 4}));
}

TEST(DecodedAudioTest, PlaysSilenceAtARateOrSpeedThatMakesNoSense)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    AppendCountingFrames(cache, 2);
    EXPECT_EQ(FilledValues(cache, 2, 0), (Values{1, 2}));
    for (double const speed : {0.0, -1.0, infinity, -infinity, std::nan("")}) {
        Block const block = Fill(cache, 2, 0, false, speed);
        EXPECT_EQ(block.written, 2);
        EXPECT_EQ(block.values, (Values{0, 0}));
    }
    for (int const rate : {0, -1000}) {
        Values values(2, -7);
        EXPECT_EQ(cache.PaFillBuffer(values.data(), 2, 1, rate, 0, 1.0, false, 1.0), 2);
        EXPECT_EQ(values, (Values{0, 0}));
    }
    EXPECT_EQ(FilledValues(cache, 2, 0), (Values{3, 4}));
}

TEST(DecodedAudioTest, TakesTimesAtTheEndsOfTheRange)
{
    constexpr long long least = std::numeric_limits<long long>::min();
    constexpr long long most = std::numeric_limits<long long>::max();
    DecodedAudio cache;
    cache.SetMaxFrameCount(10);
    auto const frame = CountingFrame(0);
    frame->startTime = least;
    frame->endTime = most;
    cache.PushBack(frame);
    for (long long const time : {least, -1LL, 0LL, most})
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(Fill(cache, 3, time, i == 0).written, 3);
    cache.PushBack(FrameAt(least, most, 5));
    cache.PushFront(FrameAt(most, least, 6));
    cache.UpdateStartEndTimes();
    cache.UpdateCache(most, least);
    EXPECT_EQ(Fill(cache, 3, most, true).written, 3);
}

// --- Drift correction ---

namespace {

// A cache that is playing the frame at 0, and the effect of five or more measurements `diffs` on an empty block.
struct SyncScene
{
    explicit SyncScene(int sampleRate = 48000) : sampleRate(sampleRate)
    {
        cache.SetMaxFrameCount(10);
        cache.AppendFrame(SoundOf(Counting(4000), 0, 2, 48000));
        Values first(2);
        cache.PaFillBuffer(first.data(), 1, 2, 48000, 0, 1.0, true, 1.0);
    }

    void Measure(std::vector<long long> const& diffs)
    {
        for (long long const diff : diffs)
            cache.PaSyncAudio(buffer.data(), 2000, diff, 2, sampleRate, written);
    }

    Values Next(int frames)
    {
        Values values(static_cast<size_t>(frames) * 2);
        cache.PaFillBuffer(values.data(), frames, 2, 48000, 0, 1.0, false, 2.0); // a speed that measures nothing
        return values;
    }

    DecodedAudio cache;
    int sampleRate;
    Values buffer = Values(4000, -7);
    int written = 0;
};

} // namespace

TEST(DecodedAudioTest, JumpsAheadAfterFiveLateMeasurements)
{
    SyncScene scene;
    scene.Measure({20000, 20000, 20000, 20000});
    EXPECT_EQ(scene.Next(1), (Values{3, 4}));
    scene.Measure({20000});
    EXPECT_EQ(scene.written, 0);
    EXPECT_EQ(scene.buffer[0], -7);
    // One frame was read, one more is dropped at double speed, then 960 are skipped.
    EXPECT_EQ(scene.Next(1), (Values{2 * 963 + 1, 2 * 963 + 2}));
}

TEST(DecodedAudioTest, RepeatsTheFirstSamplesAfterFiveEarlyMeasurements)
{
    SyncScene scene;
    scene.Measure({-20000, -20000, -20000, -20000});
    EXPECT_EQ(scene.written, 0);
    scene.Measure({-20000});
    EXPECT_EQ(scene.written, 960); // 480 passes of two values
    EXPECT_EQ(scene.buffer[0], 1);
    EXPECT_EQ(scene.buffer[1], 2);
    EXPECT_EQ(scene.buffer[2], -7); // always written at the same place
}

TEST(DecodedAudioTest, StopsRepeatingWhenTheBlockIsFull)
{
    SyncScene scene;
    scene.written = 1995;
    scene.Measure({-20000, -20000, -20000, -20000, -20000});
    EXPECT_EQ(scene.written, 2000);
    EXPECT_EQ(scene.buffer[0], 1);
    EXPECT_EQ(scene.buffer[1], 2);
    EXPECT_EQ(scene.buffer[2], -7);
}

// Each value is written before the count is checked.
TEST(DecodedAudioTest, RepeatsOneValueWhereTheBlockIsFullAlready)
{
    for (int const written : {2000, 2001, INT_MAX}) {
        SyncScene scene;
        scene.written = written;
        scene.Measure({-20000, -20000, -20000, -20000, -20000});
        EXPECT_EQ(scene.written, written < INT_MAX ? written + 1 : INT_MAX);
        EXPECT_EQ(scene.buffer[0], 1);
        EXPECT_EQ(scene.buffer[1], -7);
    }
}

TEST(DecodedAudioTest, MeasuresDriftWithATolerance)
{
    SyncScene scene;
    scene.Measure({10000, 10000, 10000, 10000, 10000}); // average 10000: no correction
    scene.Measure({10001, 10001, 10001, 10001, 10000}); // 50004
    EXPECT_EQ(scene.Next(1), (Values{3, 4}));
    scene.Measure({10001, 10001, 10001, 10001, 10001}); // 50005: 480 frames
    EXPECT_EQ(scene.Next(1), (Values{2 * 483 + 1, 2 * 483 + 2}));
}

TEST(DecodedAudioTest, StartsCountingDriftAnewAfterAMeasurementWithinTheTolerance)
{
    for (long long const within : {-9999LL, 0LL, 9999LL}) {
        SyncScene scene;
        scene.Measure({-20000, -20000, -20000, -20000, within, -20000, -20000, -20000, -20000});
        EXPECT_EQ(scene.written, 0);
        scene.Measure({-20000});
        EXPECT_EQ(scene.written, 960);
    }
    SyncScene scene;
    scene.Measure({-20000, -20000, -20000, -20000, -10000});
    EXPECT_EQ(scene.written, 864); // the average is -18000
}

TEST(DecodedAudioTest, DoesNotCorrectAlternatingMeasurements)
{
    SyncScene scene;
    scene.Measure({30000, -30000, 30000, -30000, 30000});
    EXPECT_EQ(scene.Next(1), (Values{3, 4}));
    scene.Measure({-30000, 30000, -30000, 30000, -30000});
    EXPECT_EQ(scene.written, 0);
}

TEST(DecodedAudioTest, ForgetsTheDriftOnRequest)
{
    SyncScene scene;
    scene.Measure({-20000, -20000, -20000, -20000});
    scene.cache.PaResetDiffCounter();
    scene.Measure({-20000});
    EXPECT_EQ(scene.written, 0);
    scene.Measure({-20000, -20000, -20000, -20000});
    EXPECT_EQ(scene.written, 960);
}

TEST(DecodedAudioTest, KeepsTheMeasuredDriftAcrossANewPlace)
{
    SyncScene scene;
    scene.Measure({-20000, -20000, -20000, -20000});
    Values block(2);
    scene.cache.PaFillBuffer(block.data(), 1, 2, 48000, 0, 1.0, /*reset=*/true, 2.0); // a speed that measures nothing
    scene.Measure({-20000});
    EXPECT_EQ(scene.written, 960);
}

TEST(DecodedAudioTest, TakesAnyMeasurement)
{
    for (long long const time : {std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()}) {
        SyncScene scene(INT_MAX);
        scene.Measure({time, time, time, time, time, time, time, time, time, time});
        EXPECT_LE(scene.written, 2001); // a full block of 2000 and the one value that is always written
        DecodedAudio nothingPlayed;
        int written = 0;
        for (int i = 0; i < 5; ++i) {
            nothingPlayed.PaSyncAudio(scene.buffer.data(), 2000, -20000, 2, 48000, written);
            nothingPlayed.PaSyncAudio(nullptr, 2000, -20000, 2, 48000, written);
            nothingPlayed.PaSyncAudio(scene.buffer.data(), 2000, -20000, 0, 48000, written);
        }
    }
    DecodedAudio nothingPlayed;
    Values values(4, -7);
    int written = 0;
    for (int i = 0; i < 5; ++i)
        nothingPlayed.PaSyncAudio(values.data(), 2000, -20000, 2, 48000, written);
    EXPECT_EQ(written, 960);
    EXPECT_EQ(values, (Values{0, 0, -7, -7}));
}

// Mono frames of 10 ms at 1000 Hz and blocks of 10 frames, whose time is 20 ms behind the frames: each block plays one
// frame and makes one measurement of -20000. The fifth repeats the frame's first value 20 times, more than the block
// has room for.
TEST(DecodedAudioTest, MeasuresAtEachChangeOfFrameAtNormalSpeedOnly)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(20);
    AppendCountingFrames(cache, 12);
    EXPECT_EQ(FilledValues(cache, 10, 20000, true), Counting(10, 21));
    for (int i = 3; i < 7; ++i)
        EXPECT_EQ(FilledValues(cache, 10, (i - 2) * 10000LL), Counting(10, static_cast<short>(i * 10 + 1)));
    Block const corrected = Fill(cache, 10, 50000);
    EXPECT_EQ(corrected.written, 10);
    EXPECT_EQ(corrected.values, (Values{71, -7, -7, -7, -7, -7, -7, -7, -7, -7}));
    EXPECT_EQ(FilledValues(cache, 10, 60000), Counting(10, 71));

    cache.PaResetDiffCounter();
    FilledValues(cache, 10, 20000, true, 1.0000001);
    for (int i = 0; i < 6; ++i)
        EXPECT_NE(FilledValues(cache, 10, 0, false, 1.0000001)[9], -7);
}

// The fifth measurement of -12 ms in the middle of a block of 20 counts 12 repetitions without moving the position, so
// the last 12 frames of the block keep their old content.
TEST(DecodedAudioTest, LeavesTheEndOfABlockAloneForWhatItRepeated)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(20);
    AppendCountingFrames(cache, 12);
    FilledValues(cache, 10, 0, true);
    for (int i = 1; i < 5; ++i)
        FilledValues(cache, 10, i * 10000LL - 12000);
    Block const block = Fill(cache, 20, 50000 - 12000);
    EXPECT_EQ(block.written, 20);
    Values expected = Counting(8, 51);
    expected.resize(20, -7);
    EXPECT_EQ(block.values, expected);
}

TEST(DecodedAudioTest, BeginsSilenceAtTheWritePosition)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(20);
    AppendCountingFrames(cache, 6);
    FilledValues(cache, 10, 0, true);
    for (int i = 1; i < 5; ++i)
        FilledValues(cache, 10, i * 10000LL - 12000);
    Block const block = Fill(cache, 30, 50000 - 12000); // 12 repeated, 10 played, 8 silent, 12 untouched
    EXPECT_EQ(block.written, 30);
    Values expected = Counting(10, 51);
    expected.resize(18, 0);
    expected.resize(30, -7);
    EXPECT_EQ(block.values, expected);
}

TEST(DecodedAudioTest, DoesNotScaleWhatItRepeats)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(20);
    AppendCountingFrames(cache, 12);
    FilledValues(cache, 10, 20000, true);
    for (int i = 3; i < 7; ++i)
        FilledValues(cache, 10, (i - 2) * 10000LL);
    EXPECT_EQ(Fill(cache, 10, 50000, false, 1.0, 2.0).values[0], 71);
}
