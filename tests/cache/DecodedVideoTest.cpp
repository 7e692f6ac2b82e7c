#include "tests/cache/VideoScene.h"

#include "common/Settings.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>

namespace {

using Starts = std::vector<long long>;
using Pictures = std::vector<std::weak_ptr<DecodedVideoFrame>>;

struct Directions
{
    long long forward = -1;
    long long backward = -1;
};

Directions DirectionsAt(DecodedVideo& cache, long long time)
{
    Directions sizes;
    cache.GetDirectionalCacheSizes(time, sizes.forward, sizes.backward);
    return sizes;
}

int CountAlive(Pictures const& pictures)
{
    int count = 0;
    for (auto const& picture : pictures)
        count += picture.expired() ? 0 : 1;
    return count;
}

Pictures AppendWatchedPictures(DecodedVideo& cache, int count)
{
    Pictures pictures;
    for (int i = 0; i < count; ++i) {
        auto picture = PictureAt(i * 40000LL);
        pictures.push_back(picture);
        cache.AppendFrame(std::move(picture));
    }
    return pictures;
}

} // namespace

// --- The container ---

TEST(DecodedVideoTest, StartsEmptyWithTwentyFiveSlots)
{
    DecodedVideo cache;
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    EXPECT_EQ(cache.GetStartTime(), 0);
    EXPECT_EQ(cache.GetEndTime(), 0);
    EXPECT_EQ(cache.GetSize(), 0);
    EXPECT_EQ(cache.GetMaxCacheSize(), 0);
    EXPECT_FALSE(cache.CanCacheForwards());
    EXPECT_FALSE(cache.CanCacheBackwards());
    EXPECT_EQ(cache.FirstFrame(), nullptr);
    EXPECT_EQ(cache.LastFrame(), nullptr);
}

TEST(DecodedVideoTest, EndsEachPictureWhereTheNextOneStarts)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {0, 40000, 80000});
    EXPECT_EQ(cache.GetFrameCount(), 3);
    EXPECT_EQ(cache.GetSize(), 300);
    EXPECT_EQ(cache.GetStartTime(), 0);
    EXPECT_EQ(cache.GetFrameAtIndex(0)->endTime, 39999);
    EXPECT_EQ(cache.GetFrameAtIndex(1)->endTime, 79999);
    EXPECT_EQ(cache.GetFrameAtIndex(2)->endTime, 0);
}

TEST(DecodedVideoTest, ReportsTheEndThatTheLatestPictureCameWith)
{
    DecodedVideo cache;
    cache.AppendFrame(PictureAt(5000));
    EXPECT_EQ(cache.GetStartTime(), 5000);
    EXPECT_EQ(cache.GetEndTime(), 0);
}

TEST(DecodedVideoTest, DropsAPictureThatStartsAsTheFirstOrTheLast)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {0, 40000, 80000});
    cache.AppendFrame(PictureAt(0, 7));
    cache.AppendFrame(PictureAt(80000, 90000));
    EXPECT_EQ(StartsOf(cache), (Starts{0, 40000, 80000}));
    EXPECT_EQ(cache.GetEndTime(), 0);
    EXPECT_EQ(cache.GetSize(), 300);
}

TEST(DecodedVideoTest, DropsAPictureThatStartsInsideTheCachedSpan)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {0, 40000, 80000});
    cache.AppendFrame(PictureAt(50000));
    cache.AppendFrame(PictureAt(40000));
    EXPECT_EQ(StartsOf(cache), (Starts{0, 40000, 80000}));
    EXPECT_EQ(cache.GetFrameAtIndex(1)->endTime, 79999);
}

TEST(DecodedVideoTest, PutsAnEarlierPictureInFrontAndEndsItAtTheOldStart)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {80000, 120000});
    cache.AppendFrame(PictureAt(40000, 5));
    EXPECT_EQ(StartsOf(cache), (Starts{40000, 80000, 120000}));
    EXPECT_EQ(cache.FirstFrame()->endTime, 79999);
    EXPECT_EQ(cache.GetStartTime(), 40000);
    EXPECT_EQ(cache.GetFrameAtIndex(24), cache.FirstFrame());
}

TEST(DecodedVideoTest, SnapsAFirstPictureWithinTheRoundingErrorToZero)
{
    ASSERT_EQ(Settings::ROUNDING_ERROR_EXTRA_TIME, 1000);
    DecodedVideo onTheEdge;
    onTheEdge.AppendFrame(PictureAt(1000));
    EXPECT_EQ(onTheEdge.FirstFrame()->startTime, 0);
    DecodedVideo beyond;
    beyond.AppendFrame(PictureAt(1001));
    EXPECT_EQ(beyond.FirstFrame()->startTime, 1001);
}

TEST(DecodedVideoTest, MovesANegativeStartToZeroOnlyWhenTheEndIsNotNegative)
{
    DecodedVideo cache;
    cache.AppendFrame(PictureAt(-5, -1));
    EXPECT_EQ(cache.GetFrameCount(), 0);
    cache.AppendFrame(PictureAt(-5, 0));
    EXPECT_EQ(StartsOf(cache), (Starts{0}));
}

TEST(DecodedVideoTest, NeverStoresAnEndOfStreamRecordButLetsItMoveTheLastEnd)
{
    DecodedVideo cache;
    cache.AppendFrame(EndOfStream(1000));
    EXPECT_EQ(cache.GetFrameCount(), 0);
    AppendPicturesAt(cache, {0, 40000});
    cache.AppendFrame(EndOfStream(0));
    EXPECT_EQ(cache.GetEndTime(), 0);
    cache.AppendFrame(EndOfStream(40000)); // not beyond the start
    EXPECT_EQ(cache.GetEndTime(), 0);
    cache.AppendFrame(EndOfStream(79999));
    EXPECT_EQ(cache.GetEndTime(), 79999);
    EXPECT_EQ(cache.LastFrame()->endTime, 79999);
    EXPECT_EQ(cache.GetFrameCount(), 2);
}

TEST(DecodedVideoTest, LetsAnEndOfStreamRecordAlsoBringTheLastEndForward)
{
    DecodedVideo cache;
    cache.AppendFrame(PictureAt(40000, 99999));
    cache.AppendFrame(EndOfStream(40001));
    EXPECT_EQ(cache.GetEndTime(), 40001);
}

TEST(DecodedVideoTest, StoresASizeChangeRecordLikeAPicture)
{
    DecodedVideo cache;
    auto change = PictureAt(40000, 0, 1);
    change->status = 1;
    cache.AppendFrame(PictureAt(0));
    cache.AppendFrame(change);
    EXPECT_EQ(cache.LastFrame(), change);
    EXPECT_EQ(cache.GetSize(), 101);
}

TEST(DecodedVideoTest, GrowsByHalfWhenOneSlotIsLeft)
{
    DecodedVideo cache;
    AppendPictures(cache, 24);
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    AppendPictures(cache, 1, 24 * 40000LL);
    EXPECT_EQ(cache.GetMaxFrameCount(), 37);
    EXPECT_EQ(cache.GetFrameCount(), 25);
    AppendPictures(cache, 11, 25 * 40000LL);
    EXPECT_EQ(cache.GetMaxFrameCount(), 37);
    AppendPictures(cache, 1, 36 * 40000LL);
    EXPECT_EQ(cache.GetMaxFrameCount(), 55);
    EXPECT_EQ(cache.GetFrameCount(), 37);
}

TEST(DecodedVideoTest, GrowsEvenWhenThePictureIsThenDropped)
{
    DecodedVideo cache;
    AppendPictures(cache, 24);
    cache.AppendFrame(PictureAt(50000));
    EXPECT_EQ(cache.GetFrameCount(), 24);
    EXPECT_EQ(cache.GetMaxFrameCount(), 37);
}

TEST(DecodedVideoTest, DoesNotGrowForADuplicate)
{
    DecodedVideo cache;
    AppendPictures(cache, 24);
    cache.AppendFrame(PictureAt(0));
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
}

TEST(DecodedVideoTest, LaysAWrappedRingOutFromSlotZeroWhenItGrows)
{
    DecodedVideo cache;
    WrapRing(cache);
    AppendPictures(cache, 15, 29 * 40000LL); // 24 pictures from slot 20 on, round the end
    ASSERT_EQ(cache.GetMaxFrameCount(), 25);
    auto const first = cache.FirstFrame();
    EXPECT_EQ(cache.GetFrameAtIndex(20), first);
    AppendPictures(cache, 1, 44 * 40000LL);
    EXPECT_EQ(cache.GetMaxFrameCount(), 37);
    EXPECT_EQ(cache.GetFrameAtIndex(0), first);
    EXPECT_EQ(cache.GetFrameAtIndex(24), cache.LastFrame());
    EXPECT_EQ(cache.GetFrameAtIndex(25), nullptr);
    EXPECT_EQ(StartsOf(cache).size(), 25u);
}

TEST(DecodedVideoTest, ClearsAtOnceAndReleasesTwoPicturesAnAppend)
{
    DecodedVideo cache;
    Pictures const pictures = AppendWatchedPictures(cache, 10);
    cache.Clear();
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(cache.GetSize(), 0);
    EXPECT_EQ(cache.GetStartTime(), 0);
    EXPECT_EQ(cache.GetEndTime(), 0);
    EXPECT_EQ(CountAlive(pictures), 10);
    // Released from the top of the 25 slots: slots 24 to 11 are empty, slots 10 and 9 go with the eighth append.
    for (int i = 0; i < 7; ++i)
        cache.AppendFrame(PictureAt(i * 40000LL));
    EXPECT_EQ(CountAlive(pictures), 10);
    cache.AppendFrame(PictureAt(7 * 40000LL));
    EXPECT_EQ(CountAlive(pictures), 9);
    EXPECT_TRUE(pictures[9].expired());
    cache.AppendFrame(PictureAt(0)); // dropped, but still releases
    EXPECT_EQ(CountAlive(pictures), 7);
    EXPECT_TRUE(pictures[8].expired());
    EXPECT_TRUE(pictures[7].expired());
    EXPECT_FALSE(pictures[6].expired());
}

TEST(DecodedVideoTest, ReleasesWhatTwoClearsLeftBehind)
{
    DecodedVideo cache;
    Pictures const older = AppendWatchedPictures(cache, 3);
    cache.Clear();
    Pictures const newer = AppendWatchedPictures(cache, 3);
    EXPECT_EQ(CountAlive(older), 3);
    cache.Clear();
    EXPECT_EQ(CountAlive(older), 0);
    EXPECT_EQ(CountAlive(newer), 3);
}

TEST(DecodedVideoTest, ForceClearReleasesBothArrays)
{
    DecodedVideo cache;
    Pictures const older = AppendWatchedPictures(cache, 3);
    cache.Clear();
    Pictures const newer = AppendWatchedPictures(cache, 3);
    cache.ForceClear();
    EXPECT_EQ(CountAlive(older), 0);
    EXPECT_EQ(CountAlive(newer), 0);
    EXPECT_EQ(cache.GetFrameCount(), 0);
    AppendPictures(cache, 20); // the pending release finds empty slots
    EXPECT_EQ(cache.GetFrameCount(), 20);
}

TEST(DecodedVideoTest, ReleasesEverythingWithItself)
{
    Pictures pictures;
    {
        DecodedVideo cache;
        pictures = AppendWatchedPictures(cache, 5);
        cache.Clear();
        auto const more = AppendWatchedPictures(cache, 5);
        pictures.insert(pictures.end(), more.begin(), more.end());
    }
    EXPECT_EQ(CountAlive(pictures), 0);
}

TEST(DecodedVideoTest, TakesAnEmptyPointerForAClear)
{
    DecodedVideo cache;
    Pictures const pictures = AppendWatchedPictures(cache, 3);
    cache.AppendFrame(nullptr);
    EXPECT_EQ(cache.GetFrameCount(), 0);
    EXPECT_EQ(CountAlive(pictures), 3);
}

TEST(DecodedVideoTest, KeepsTheOtherArraysLengthWhenAClearSwitches)
{
    DecodedVideo cache;
    AppendPictures(cache, 25);
    ASSERT_EQ(cache.GetMaxFrameCount(), 37);
    cache.Clear();
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.Clear();
    EXPECT_EQ(cache.GetMaxFrameCount(), 37);
}

TEST(DecodedVideoTest, OverwritesTheEarliestWhenAFullRingIsPushedBehind)
{
    DecodedVideo cache;
    for (int i = 0; i < 26; ++i)
        cache.PushBack(PictureAt(i * 10));
    cache.UpdateStartEndTimes();
    EXPECT_EQ(cache.GetFrameCount(), 25);
    EXPECT_EQ(cache.GetSize(), 2500);
    EXPECT_EQ(cache.GetStartTime(), 10);
    EXPECT_EQ(cache.LastFrame(), cache.GetFrameAtIndex(0));
    EXPECT_EQ(cache.LastFrame()->startTime, 250);
}

TEST(DecodedVideoTest, OverwritesTheLatestWhenAFullRingIsPushedInFront)
{
    DecodedVideo cache;
    for (int i = 26; i > 0; --i) {
        cache.PushFront(PictureAt(i * 10));
        cache.UpdateStartEndTimes();
    }
    EXPECT_EQ(cache.GetFrameCount(), 25);
    EXPECT_EQ(cache.GetSize(), 2500);
    EXPECT_EQ(cache.GetStartTime(), 10);
    EXPECT_EQ(cache.LastFrame()->startTime, 250);
    EXPECT_EQ(cache.GetEndTime(), 259);
}

TEST(DecodedVideoTest, PopsLeaveTheCachedTimesToTheirCaller)
{
    DecodedVideo cache;
    AppendPictures(cache, 3);
    cache.PopFront();
    cache.PopBack();
    EXPECT_EQ(cache.GetStartTime(), 0);
    EXPECT_EQ(cache.GetEndTime(), 119999);
    cache.UpdateStartEndTimes();
    EXPECT_EQ(cache.GetStartTime(), 40000);
    EXPECT_EQ(cache.GetEndTime(), 79999);
    EXPECT_EQ(cache.GetSize(), 100);
}

TEST(DecodedVideoTest, CountsTheSlotsOfADrainedRingUntilItIsCleared)
{
    for (bool const fromFront : {true, false}) {
        DecodedVideo cache;
        cache.AppendFrame(PictureAt(0));
        fromFront ? cache.PopFront() : cache.PopBack();
        EXPECT_EQ(cache.GetFrameCount(), 25);
        EXPECT_EQ(cache.GetSize(), 0);
        cache.Clear();
        EXPECT_EQ(cache.GetFrameCount(), 0);
    }
}

TEST(DecodedVideoTest, SurvivesEveryOperationOnADrainedRing)
{
    for (int const pictures : {1, 25}) { // popped in the middle of the array, and across its end
        DecodedVideo cache;
        for (int i = 0; i < pictures; ++i)
            cache.PushBack(PictureAt(i * 40000LL));
        for (int i = 0; i < pictures; ++i)
            cache.PopFront();
        cache.UpdateStartEndTimes();
        EXPECT_EQ(cache.GetStartTime(), 0);
        EXPECT_EQ(cache.GetEndTime(), 0);
        EXPECT_EQ(cache.FirstFrame(), nullptr);
        EXPECT_EQ(cache.LastFrame(), nullptr);
        EXPECT_EQ(cache.GetFrame(0, 0), nullptr);
        EXPECT_EQ(cache.GetFrame(0, 3), nullptr);
        EXPECT_EQ(cache.GetFrame(0, -3), nullptr);
        EXPECT_EQ(cache.GetFrameIndex(0), -1);
        cache.OverrideLastFrameEndTime(5);
        EXPECT_EQ(cache.GetEndTime(), 0);
        cache.AppendFrame(EndOfStream(100));
        EXPECT_EQ(cache.GetEndTime(), 0);
        auto const sizes = DirectionsAt(cache, 0);
        EXPECT_EQ(sizes.forward, 0);
        EXPECT_EQ(sizes.backward, 0);
        cache.UpdateCache(0, 1000000, true, true);
        for (int i = 0; i < 60; ++i)
            i % 2 ? cache.PopFront() : cache.PopBack();
        EXPECT_EQ(cache.GetSize(), 0);
        cache.AppendFrame(PictureAt(40000)); // not before the start 0, and there is no latest to follow
        EXPECT_EQ(cache.GetSize(), 0);
        cache.PushBack(PictureAt(40000));
        cache.PushFront(PictureAt(20000));
        EXPECT_EQ(cache.GetSize(), 200);
        cache.ForceClear();
        EXPECT_EQ(cache.GetFrameCount(), 0);
    }
}

TEST(DecodedVideoTest, OverridesTheEndOfTheLatestPictureWhateverItsStart)
{
    DecodedVideo cache;
    cache.OverrideLastFrameEndTime(5);
    EXPECT_EQ(cache.GetEndTime(), 0);
    AppendPicturesAt(cache, {0, 40000});
    cache.OverrideLastFrameEndTime(7);
    EXPECT_EQ(cache.GetEndTime(), 7);
    EXPECT_EQ(cache.LastFrame()->endTime, 7);
    EXPECT_EQ(cache.FirstFrame()->endTime, 39999);
}

TEST(DecodedVideoTest, KeepsAHandedOutPictureAlive)
{
    DecodedVideo cache;
    cache.AppendFrame(PictureAt(0, 39999));
    auto const picture = cache.GetFrame(0, 0);
    cache.ForceClear();
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->endTime, 39999);
    EXPECT_EQ(picture.use_count(), 1);
}

TEST(DecodedVideoTest, IgnoresAnEmptyPointerPushedDirectly)
{
    DecodedVideo cache;
    cache.PushBack(nullptr);
    cache.PushFront(nullptr);
    EXPECT_EQ(cache.GetFrameCount(), 0);
}

TEST(DecodedVideoTest, TakesTimesAtTheEndsOfTheRange)
{
    constexpr long long least = std::numeric_limits<long long>::min();
    constexpr long long most = std::numeric_limits<long long>::max();
    DecodedVideo cache;
    cache.PushBack(PictureAt(0));
    cache.PushBack(PictureAt(least, most)); // the end of the first one wraps
    cache.PushFront(PictureAt(most));
    cache.UpdateStartEndTimes();
    EXPECT_EQ(cache.GetFrameAtIndex(0)->endTime, most);
    EXPECT_EQ(cache.GetFrame(least, 0), nullptr);
    cache.UpdateCache(least, most, true, false);
    cache.UpdateCache(most, least, true, false);
}

// --- The window around the play position ---

TEST(DecodedVideoTest, DerivesTheSlotsFromBudgetAndPictureSize)
{
    DecodedVideo cache;
    AppendPictures(cache, 3);
    cache.SetMaxCacheSize(1000000000, 1920, 1080, 3);
    EXPECT_EQ(cache.GetMaxFrameCount(), 192);
    EXPECT_EQ(cache.GetMaxCacheSize(), 1000000000);
    EXPECT_EQ(cache.GetFrameCount(), 0);
    cache.SetMaxCacheSize(10000000, 1920, 1080, 3);
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    EXPECT_EQ(cache.GetMaxCacheSize(), 10000000);
}

TEST(DecodedVideoTest, TakesTheTruncatedFifthMoreOnlyAboveTwentyFourSlots)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(20, 1, 1, 1);
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.SetMaxCacheSize(21, 1, 1, 1); // 25.2
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.SetMaxCacheSize(22, 1, 1, 1); // 26.4
    EXPECT_EQ(cache.GetMaxFrameCount(), 26);
    cache.SetMaxCacheSize(219, 10, 1, 1); // quotient 21
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
}

TEST(DecodedVideoTest, FallsBackToTwentyFiveSlotsWithoutAUsablePictureSize)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(1000000000, 1920, 1080, 3);
    cache.SetMaxCacheSize(1000000000, 0, 1080, 3);
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.SetMaxCacheSize(1000000000, 65536, 65536, 3); // the 32-bit product is 0
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.SetMaxCacheSize(1000000000, 40000, 40000, 3); // the 32-bit product is 505032704: one picture fits
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.SetMaxCacheSize(std::numeric_limits<long long>::max(), 1, 1, 1); // more slots than 32 bits
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    EXPECT_EQ(cache.GetMaxCacheSize(), std::numeric_limits<long long>::max());
}

TEST(DecodedVideoTest, MultipliesThePictureSizeInThirtyTwoBits)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(1000, 65537, 65537, 1); // 131073 after the wrap: no picture fits
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.SetMaxCacheSize(131073 * 100, 65537, 65537, 1);
    EXPECT_EQ(cache.GetMaxFrameCount(), 120);
}

TEST(DecodedVideoTest, IgnoresANegativeBudgetOrGeometry)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(1000000000, 1920, 1080, 3);
    AppendPictures(cache, 3);
    cache.SetMaxCacheSize(-1, 10, 10, 3);
    cache.SetMaxCacheSize(5, -1, 10, 3);
    cache.SetMaxCacheSize(5, 10, -1, 3);
    cache.SetMaxCacheSize(5, 10, 10, -1);
    EXPECT_EQ(cache.GetMaxFrameCount(), 192);
    EXPECT_EQ(cache.GetMaxCacheSize(), 1000000000);
    EXPECT_EQ(cache.GetFrameCount(), 3);
}

TEST(DecodedVideoTest, ResizesOnlyTheArrayThatBecomesLive)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(1000000000, 1920, 1080, 3);
    cache.Clear();
    EXPECT_EQ(cache.GetMaxFrameCount(), 25);
    cache.Clear();
    EXPECT_EQ(cache.GetMaxFrameCount(), 192);
}

TEST(DecodedVideoTest, IsFullWithoutABudgetAndWhenBytesOrSlotsAreSpent)
{
    DecodedVideo cache;
    EXPECT_TRUE(cache.IsCacheFull());
    cache.SetMaxCacheSize(300, 10, 10, 1);
    EXPECT_FALSE(cache.IsCacheFull());
    AppendPictures(cache, 2);
    EXPECT_FALSE(cache.IsCacheFull());
    AppendPictures(cache, 1, 80000);
    EXPECT_TRUE(cache.IsCacheFull());
    cache.SetMaxCacheSize(1000000, 0, 0, 0);
    for (int i = 0; i < 25; ++i)
        cache.PushBack(PictureAt(i));
    EXPECT_TRUE(cache.IsCacheFull());
    cache.PopBack();
    EXPECT_FALSE(cache.IsCacheFull());
}

TEST(DecodedVideoTest, LeavesTheLatestPictureOutOfTheBalance)
{
    DecodedVideo cache;
    cache.AppendFrame(PictureAt(0, 0, 10));
    EXPECT_EQ(DirectionsAt(cache, 0).forward, 0);
    cache.AppendFrame(PictureAt(40000, 0, 20));
    cache.AppendFrame(PictureAt(80000, 0, 40));
    auto const sizes = DirectionsAt(cache, 40000);
    EXPECT_EQ(sizes.backward, 10);
    EXPECT_EQ(sizes.forward, 20);
    EXPECT_EQ(DirectionsAt(cache, 200000).backward, 30);
}

TEST(DecodedVideoTest, CountsEveryPictureOfAWrappedRing)
{
    DecodedVideo cache;
    WrapRing(cache); // 800000 ... 960000 in slots 20 to 24, 1000000 ... 1120000 in slots 0 to 3
    auto const before = DirectionsAt(cache, 880000);
    EXPECT_EQ(before.backward, 200);
    EXPECT_EQ(before.forward, 700);
    auto const after = DirectionsAt(cache, 1040000);
    EXPECT_EQ(after.backward, 600);
    EXPECT_EQ(after.forward, 300);
    auto const atTheEnd = DirectionsAt(cache, 1000000);
    EXPECT_EQ(atTheEnd.backward, 500);
    EXPECT_EQ(atTheEnd.forward, 400);
}

TEST(DecodedVideoTest, AsksEachPictureForItsSizeAtTheTick)
{
    DecodedVideo cache;
    AppendPictures(cache, 3);
    cache.FirstFrame()->size = 7;
    EXPECT_EQ(DirectionsAt(cache, 40000).backward, 7);
}

TEST(DecodedVideoTest, AdvisesForwardsWhenItIsNewAndMediaIsLeft)
{
    DecodedVideo cache;
    cache.UpdateCache(0, 1000000, false, false);
    EXPECT_TRUE(cache.CanCacheForwards());
    EXPECT_FALSE(cache.CanCacheBackwards());
}

TEST(DecodedVideoTest, AdvisesNothingWhenAllOfTheMediaIsCached)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(1000000, 10, 10, 1);
    AppendPictures(cache, 5);
    cache.UpdateCache(80000, 199999, false, false);
    EXPECT_FALSE(cache.CanCacheForwards());
    EXPECT_FALSE(cache.CanCacheBackwards());
}

TEST(DecodedVideoTest, DropsTheEarliestWhilePlayingOnlyWithEnoughBehindThePosition)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(4000, 10, 10, 1);
    AppendPictures(cache, 40);
    ASSERT_TRUE(cache.IsCacheFull());
    cache.UpdateCache(3 * 40000, 10000000, true, true); // 300 bytes behind, 400 wanted
    EXPECT_FALSE(cache.CanCacheForwards());
    EXPECT_EQ(cache.GetFrameCount(), 40);
    cache.UpdateCache(4 * 40000, 10000000, true, true);
    EXPECT_TRUE(cache.CanCacheForwards());
    EXPECT_EQ(cache.GetFrameCount(), 39);
    EXPECT_EQ(cache.GetStartTime(), 0); // until the next append
    EXPECT_EQ(cache.FirstFrame()->startTime, 40000);
    cache.UpdateCache(4 * 40000, 10000000, true, true); // no longer full
    EXPECT_TRUE(cache.CanCacheForwards());
    EXPECT_EQ(cache.GetFrameCount(), 39);
}

TEST(DecodedVideoTest, FillsThePastFirstWhilePlayingBackwards)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(100000, 10, 10, 1);
    AppendPictures(cache, 29, 4000000);
    cache.UpdateCache(4400000, 10000000, true, false);
    EXPECT_TRUE(cache.CanCacheForwards()); // fewer than 30
    AppendPictures(cache, 1, 4000000 + 29 * 40000);
    cache.UpdateCache(4400000, 10000000, true, false);
    EXPECT_FALSE(cache.CanCacheForwards());
    EXPECT_TRUE(cache.CanCacheBackwards());
}

TEST(DecodedVideoTest, DropsTheLatestWhilePlayingBackwardsOnlyWithEnoughAhead)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(4000, 10, 10, 1);
    AppendPictures(cache, 40, 4000000);
    long long const fourLeft = 4000000 + 35 * 40000; // pictures 35 to 38 count, the latest does not
    cache.UpdateCache(fourLeft + 40000, 4000000, true, false);
    EXPECT_EQ(cache.GetFrameCount(), 40);
    EXPECT_FALSE(cache.CanCacheBackwards());
    cache.UpdateCache(fourLeft, 4000000, true, false);
    EXPECT_EQ(cache.GetFrameCount(), 39);
    EXPECT_TRUE(cache.CanCacheBackwards());
    EXPECT_EQ(cache.LastFrame()->startTime, 4000000 + 38 * 40000);
}

TEST(DecodedVideoTest, FollowsThePositionThatHasRunPastTheCache)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(100000, 10, 10, 1);
    AppendPictures(cache, 40, 4000000);
    cache.UpdateCache(cache.GetEndTime() + 1, 10000000, true, false);
    EXPECT_TRUE(cache.CanCacheForwards());
    cache.UpdateCache(cache.GetEndTime(), 10000000, true, false);
    EXPECT_TRUE(cache.CanCacheBackwards());
}

// 100 pictures of 100 bytes and a budget of 20000 bytes: 8000 are wanted in the direction of the last move and 2000 the
// other way.
TEST(DecodedVideoTest, SharesThePausedBudgetByTheDirectionOfTheLastMove)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(20000, 10, 10, 1);
    AppendPictures(cache, 100, 4000000);
    auto const at = [](int picture) { return 4000000 + picture * 40000LL; };
    auto const advice = [&cache](long long time) {
        cache.UpdateCache(time, 100000000, false, false);
        return cache.CanCacheForwards() ? 'f' : cache.CanCacheBackwards() ? 'b' : '-';
    };
    EXPECT_EQ(advice(at(20)), 'f'); // moved forwards: 7900 ahead of 8000 wanted
    EXPECT_EQ(advice(at(19)), 'b'); // moved backwards: 8000 ahead are enough, 1900 of 8000 behind
    EXPECT_EQ(advice(at(80)), 'f');
    EXPECT_EQ(advice(at(79)), 'b'); // 2000 ahead are enough now, 7900 of 8000 behind
    EXPECT_EQ(advice(at(79)), 'b'); // no move: the direction stays
    EXPECT_EQ(advice(at(80) - 1), 'f');
}

TEST(DecodedVideoTest, AsksForMoreAheadWhenBothSharesAreThere)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(10001, 10, 10, 1);
    AppendPictures(cache, 100, 4000000);
    cache.UpdateCache(4000000 + 40 * 40000, 100000000, false, false); // 5900 ahead, 4000 behind, of 10001
    EXPECT_TRUE(cache.CanCacheForwards());
    cache.UpdateCache(4000000 + 40 * 40000, cache.GetEndTime(), false, false);
    EXPECT_FALSE(cache.CanCacheForwards());
    EXPECT_FALSE(cache.CanCacheBackwards());
}

// The third position is after the first, which is remembered, and before the second, which is not: it counts as a move
// forwards, for which 3400 bytes ahead are too few.
TEST(DecodedVideoTest, ForgetsAPositionAtWhichAFullCacheStoppedIt)
{
    DecodedVideo cache;
    cache.SetMaxCacheSize(10000, 10, 10, 1);
    auto const at = [](int picture) { return 4000000 + picture * 40000LL; };
    AppendPictures(cache, 99, at(0));
    cache.UpdateCache(at(2), 100000000, true, true);
    ASSERT_TRUE(cache.CanCacheForwards());
    AppendPictures(cache, 1, at(99));
    cache.UpdateCache(at(8), 100000000, true, true);
    ASSERT_FALSE(cache.CanCacheForwards());
    for (int i = 0; i < 60; ++i)
        cache.PopBack();
    cache.UpdateCache(at(5), 100000000, false, false);
    EXPECT_TRUE(cache.CanCacheForwards());
    EXPECT_FALSE(cache.CanCacheBackwards());
}

// --- Lookup ---

TEST(DecodedVideoTest, FindsThePictureShowingAtATime)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {0, 40000, 80000});
    cache.OverrideLastFrameEndTime(119999);
    EXPECT_EQ(StartOf(cache.GetFrame(0, 0)), 0);
    EXPECT_EQ(StartOf(cache.GetFrame(39999, 0)), 0);
    EXPECT_EQ(StartOf(cache.GetFrame(40000, 0)), 40000);
    EXPECT_EQ(StartOf(cache.GetFrame(79999, 0)), 40000);
    EXPECT_EQ(StartOf(cache.GetFrame(119999, 0)), 80000);
    EXPECT_EQ(cache.GetFrame(120000, 0), nullptr);
    EXPECT_EQ(cache.GetFrame(-1, 0), nullptr);
}

TEST(DecodedVideoTest, StepsFromThePictureAtATime)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {0, 40000, 80000});
    cache.OverrideLastFrameEndTime(119999);
    EXPECT_EQ(StartOf(cache.GetFrame(0, 1)), 40000);
    EXPECT_EQ(StartOf(cache.GetFrame(0, 2)), 80000);
    EXPECT_EQ(cache.GetFrame(0, 3), nullptr);
    EXPECT_EQ(StartOf(cache.GetFrame(80000, -2)), 0);
    EXPECT_EQ(cache.GetFrame(80000, -3), nullptr);
}

TEST(DecodedVideoTest, HidesTheLatestPictureUntilItHasAnEnd)
{
    DecodedVideo cache;
    AppendPicturesAt(cache, {0, 40000});
    EXPECT_EQ(StartOf(cache.GetFrame(0, 0)), 0);
    EXPECT_EQ(cache.GetFrame(1, 0), nullptr);
}

TEST(DecodedVideoTest, SearchesTheRightPartOfAWrappedRing)
{
    DecodedVideo cache;
    WrapRing(cache);
    EXPECT_EQ(cache.GetFrameIndex(1040000), 1);
    EXPECT_EQ(cache.GetFrameIndex(1079999), 1);
    EXPECT_EQ(cache.GetFrameIndex(960000), 24);
    EXPECT_EQ(cache.GetFrameIndex(999999), 24);
    EXPECT_EQ(cache.GetFrameIndex(1000000), 0);
    EXPECT_EQ(cache.GetFrameIndex(800000), 20);
    EXPECT_EQ(cache.GetFrameIndex(799999), -1);
    EXPECT_EQ(cache.GetFrameIndex(1160000), -1);
}

TEST(DecodedVideoTest, StopsStepsAtTheEndsOfAWrappedRingOnly)
{
    DecodedVideo cache;
    WrapRing(cache);
    EXPECT_EQ(cache.GetNextFrameIndex(24), 0);
    EXPECT_EQ(cache.GetPreviousFrameIndex(0), 24);
    EXPECT_EQ(cache.GetNextFrameIndex(3), -1);
    EXPECT_EQ(cache.GetPreviousFrameIndex(20), -1);
    EXPECT_EQ(cache.GetNextFrameIndex(20), 21);
    EXPECT_EQ(cache.GetPreviousFrameIndex(2), 1);
    EXPECT_EQ(StartOf(cache.GetFrame(960000, 1)), 1000000);
    EXPECT_EQ(StartOf(cache.GetFrame(1000000, -1)), 960000);
    EXPECT_EQ(cache.GetFrame(1120000, 1), nullptr);
    EXPECT_EQ(cache.GetFrame(800000, -1), nullptr);

    DecodedVideo unwrapped;
    AppendPictures(unwrapped, 3);
    EXPECT_EQ(unwrapped.GetNextFrameIndex(2), 3);
    EXPECT_EQ(unwrapped.GetFrameAtIndex(3), nullptr);
    EXPECT_EQ(unwrapped.GetPreviousFrameIndex(0), -1);
    EXPECT_EQ(unwrapped.GetNextFrameIndex(-1), -1); // would reach the earliest
    EXPECT_EQ(unwrapped.GetNextFrameIndex(24), 0);
    unwrapped.PopFront();
    EXPECT_EQ(unwrapped.GetPreviousFrameIndex(1), 0);
}

TEST(DecodedVideoTest, AnswersForSlotsThatDoNotExist)
{
    DecodedVideo cache;
    EXPECT_EQ(cache.GetFrameIndex(0), -1);
    EXPECT_EQ(cache.GetFrameAtIndex(-1), nullptr);
    EXPECT_EQ(cache.GetFrameAtIndex(25), nullptr);
    EXPECT_EQ(cache.GetNextFrameIndex(24), -1);
    AppendPictures(cache, 3);
    EXPECT_EQ(cache.GetFrameAtIndex(INT_MIN), nullptr);
    EXPECT_EQ(cache.GetFrameAtIndex(INT_MAX), nullptr);
    EXPECT_EQ(cache.GetNextFrameIndex(INT_MAX), 0);
    EXPECT_EQ(cache.GetPreviousFrameIndex(INT_MIN), -1);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, 5, 4), -1);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, 0, 2), 0);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, INT_MAX, INT_MAX), -1);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, INT_MIN, INT_MAX), 0);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, -7, -7), -1);
}

TEST(DecodedVideoTest, EndsASearchAtAnEmptySlot)
{
    DecodedVideo cache;
    AppendPictures(cache, 3);
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, 0, 10), -1); // slot 5
    EXPECT_EQ(cache.GetFrameIndexBinarySearch(0, 0, 4), 0);   // slot 2 first
}

TEST(DecodedVideoTest, StepsFromAGapToSlotZero)
{
    DecodedVideo cache;
    AppendPictures(cache, 5);
    cache.PopFront();
    cache.PopFront();
    cache.UpdateStartEndTimes();
    cache.GetFrameAtIndex(2)->endTime = 100000; // a gap before the picture at 120000
    ASSERT_EQ(cache.GetFrameIndex(110000), -1);
    EXPECT_EQ(cache.GetFrame(110000, 0), nullptr);
    EXPECT_EQ(cache.GetFrame(110000, 1), nullptr); // slot 0 is empty
    EXPECT_EQ(cache.GetFrame(110000, -1), nullptr);

    DecodedVideo wrapped;
    WrapRing(wrapped);
    wrapped.GetFrameAtIndex(21)->endTime = 850000; // a gap before 880000
    ASSERT_EQ(wrapped.GetFrameIndex(860000), -1);
    EXPECT_EQ(StartOf(wrapped.GetFrame(860000, 1)), 1000000);
    EXPECT_EQ(StartOf(wrapped.GetFrame(860000, 2)), 1040000);
    EXPECT_EQ(StartOf(wrapped.GetFrame(860000, -1)), 960000);
}

// In an unwrapped ring that starts in slot 0 the walk goes round and round.
TEST(DecodedVideoTest, AnswersAnyOffsetWithoutWalkingItAll)
{
    DecodedVideo cache;
    AppendPictures(cache, 3);
    EXPECT_EQ(StartOf(cache.GetFrame(0, 25)), 0);
    EXPECT_EQ(StartOf(cache.GetFrame(0, 26)), 40000);
    EXPECT_EQ(StartOf(cache.GetFrame(0, 25 * 80000000 + 2)), 80000);
    EXPECT_EQ(cache.GetFrame(0, 25 * 80000000 + 3), nullptr);
    EXPECT_EQ(cache.GetFrame(0, INT_MIN), nullptr);
    cache.PopFront();
    cache.UpdateStartEndTimes();
    EXPECT_EQ(cache.GetFrame(40000, 25), nullptr); // would reach the earliest
}
