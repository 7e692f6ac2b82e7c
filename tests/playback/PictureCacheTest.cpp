#include "playback/PictureCache.h"
#include "decode/DecodedVideoFrame.h"

#include <gtest/gtest.h>

namespace {

// A picture of one row of `pixels` pixels, shown for 40 ms.
PictureCache::Picture PictureAt(long long start, int pixels)
{
    std::vector<uint8_t> const bytes(static_cast<size_t>(3 * pixels));
    auto picture = std::make_shared<DecodedVideoFrame>(bytes.data(), 3 * pixels, 1, 3 * pixels, start, 25.0, 0, false);
    picture->endTime = start + 39999;
    return picture;
}

// Pictures at 0, 40, 80 and 120 ms of 12, 24, 48 and 96 bytes.
void AppendFour(PictureCache& cache)
{
    cache.SetBudget(1000, 12, 0);
    for (int i = 0; i < 4; ++i)
        cache.Append(PictureAt(40000LL * i, 4 << i));
}

TEST(PictureCacheTest, TellsTheBytesBeforeAndAfterAMoment)
{
    PictureCache cache;
    AppendFour(cache);
    PictureCache::Balance const middle = cache.GetBalance(95000);
    EXPECT_EQ(middle.before, 12 + 24);
    EXPECT_EQ(middle.current, 48);
    EXPECT_EQ(middle.after, 96);
    EXPECT_EQ(cache.GetBalance(0).before, 0);
    EXPECT_EQ(cache.GetBalance(0).current, 12);
    EXPECT_EQ(cache.GetBalance(0).after, 24 + 48 + 96);
    EXPECT_EQ(cache.GetBalance(159999).before, 12 + 24 + 48);
    EXPECT_EQ(cache.GetBalance(159999).current, 96);
    EXPECT_EQ(cache.GetBalance(159999).after, 0);
}

TEST(PictureCacheTest, OutsideOfItsSpanAllBytesAreOnOneSide)
{
    PictureCache cache;
    EXPECT_EQ(cache.GetBalance(0).after, 0);
    AppendFour(cache);
    EXPECT_EQ(cache.GetBalance(-1).after, 180);
    EXPECT_EQ(cache.GetBalance(160000).before, 180);
    EXPECT_EQ(cache.GetBalance(160000).current, 0);
}

// Pictures are removed in front and appended behind until they wrap round the end of the slots.
TEST(PictureCacheTest, TellsTheSameWhereItsPicturesGoRound)
{
    PictureCache cache;
    AppendFour(cache);
    for (int i = 4; i < 60; ++i) {
        cache.Append(PictureAt(40000LL * i, 4));
        cache.TakeFirst();
        PictureCache::Span const span = cache.GetSpan();
        for (long long time = span.start; time <= span.end; time += 40000) {
            PictureCache::Balance const balance = cache.GetBalance(time);
            EXPECT_EQ(balance.before + balance.current + balance.after, span.bytes);
            if (i > 10) {
                EXPECT_EQ(balance.before, (time - span.start) / 40000 * 12);
            }
        }
    }
}

TEST(PictureCacheTest, CountsThePicturesThatWaitAndKeepsFourWhateverTheBudget)
{
    PictureCache cache;
    cache.SetBudget(100, 12, 0);
    cache.Append(PictureAt(200000, 4));
    EXPECT_TRUE(cache.HasRoomFor(88));
    EXPECT_TRUE(cache.HasRoomFor(89)); // always with fewer than four pictures
    cache.AddWaiting(PictureAt(80000, 4));
    cache.AddWaiting(PictureAt(120000, 4));
    EXPECT_EQ(cache.GetSpan().bytes, 36);
    EXPECT_EQ(cache.GetSpan().count, 1);
    EXPECT_TRUE(cache.HasRoomFor(1000));
    cache.AddWaiting(PictureAt(160000, 4));
    EXPECT_TRUE(cache.HasRoomFor(52));
    EXPECT_FALSE(cache.HasRoomFor(53));
    EXPECT_EQ(cache.TakeFirstWaiting()->startTime, 80000);
    EXPECT_EQ(cache.AppendLastWaiting()->startTime, 160000);
    EXPECT_EQ(cache.GetSpan().bytes, 36);
    EXPECT_EQ(cache.GetSpan().start, 160000);
    EXPECT_EQ(cache.TakeAllWaiting().size(), 1U);
    EXPECT_EQ(cache.GetSpan().bytes, 24);
}

TEST(PictureCacheTest, LessBudgetLeavesThePicturesNextToTheMoment)
{
    PictureCache cache;
    AppendFour(cache);
    for (int i = 4; i < 8; ++i)
        cache.Append(PictureAt(40000LL * i, 4));
    EXPECT_EQ(cache.SetBudget(0, 96, 80000).size(), 4U);
    EXPECT_EQ(cache.GetSpan().start, 80000);
    EXPECT_EQ(cache.GetSpan().end, 239999);
    cache.SetBudget(24, 96, 1000000); // no picture is shown at that time: keeps the last ones
    EXPECT_EQ(cache.GetSpan().count, 4);
    EXPECT_EQ(cache.GetSpan().end, 239999);
}

} // namespace
