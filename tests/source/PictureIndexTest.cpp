#include "source/PictureIndex.h"

#include <gtest/gtest.h>

namespace {

PictureIndex ThreePictures()
{
    return {{{0, true}, {40000, false}, {100000, true}}, 139999};
}

TEST(PictureIndexTest, NumbersThePictureShowingAtATime)
{
    PictureIndex const index = ThreePictures();
    EXPECT_EQ(index.GetCount(), 3);
    EXPECT_EQ(index.NumberAt(0), 0);
    EXPECT_EQ(index.NumberAt(39999), 0);
    EXPECT_EQ(index.NumberAt(40000), 1);
    EXPECT_EQ(index.NumberAt(99999), 1);
    EXPECT_EQ(index.NumberAt(100000), 2);
    EXPECT_EQ(index.NumberAt(139999), 2);
}

TEST(PictureIndexTest, TellsWhenAPictureBeginsAndEnds)
{
    PictureIndex const index = ThreePictures();
    EXPECT_EQ(index.TimeOf(1), 40000);
    EXPECT_EQ(index.EndOf(0), 39999);
    EXPECT_EQ(index.EndOf(1), 99999);
    EXPECT_EQ(index.EndOf(2), 139999);
    EXPECT_TRUE(index.IsKey(0));
    EXPECT_FALSE(index.IsKey(1));
    EXPECT_TRUE(index.IsKey(2));
}

TEST(PictureIndexTest, HoldsWhatIsAskedToItsPictures)
{
    PictureIndex const index = ThreePictures();
    EXPECT_EQ(index.NumberAt(-1), 0);
    EXPECT_EQ(index.NumberAt(140000), 2);
    EXPECT_EQ(index.TimeOf(-1), 0);
    EXPECT_EQ(index.TimeOf(3), 100000);
    EXPECT_EQ(index.EndOf(-1), 39999);
    EXPECT_EQ(index.EndOf(3), 139999);
    EXPECT_TRUE(index.IsKey(3));
}

TEST(PictureIndexTest, HasOnlySpansOfItsPictures)
{
    PictureIndex const index = ThreePictures();
    EXPECT_TRUE(index.Has(40000, 99999));
    EXPECT_TRUE(index.Has(100000, 139999));
    EXPECT_FALSE(index.Has(40000, 79999));
    EXPECT_FALSE(index.Has(40001, 99999));
    EXPECT_FALSE(index.Has(140000, 179999));
}

TEST(PictureIndexTest, ReckonsPicturesAtAConstantRate)
{
    PictureIndex const index(100, 24.0); // starts at 0, 41666.67, 83333.33, 125000...
    EXPECT_EQ(index.GetCount(), 100);
    EXPECT_EQ(index.TimeOf(1), 41666);
    EXPECT_EQ(index.TimeOf(2), 83333);
    EXPECT_EQ(index.EndOf(2), 124999);
    EXPECT_EQ(index.NumberAt(83332), 1);
    EXPECT_EQ(index.NumberAt(83333), 2);
    EXPECT_EQ(index.EndOf(99), 4166665);
    EXPECT_EQ(index.NumberAt(4166666), 99);
    EXPECT_EQ(index.NumberAt(-5), 0);
    EXPECT_TRUE(index.IsKey(7));
}

TEST(PictureIndexTest, EveryPictureAtAConstantRateHasItsOwnNumber)
{
    for (double const rate : {0.1, 23.976, 29.97, 59.94, 119.88, 1000.0}) {
        PictureIndex const index(100000, rate);
        for (long long number = 0; number < 100000; number += 7) {
            ASSERT_EQ(index.NumberAt(index.TimeOf(number)), number) << rate;
            ASSERT_EQ(index.NumberAt(index.EndOf(number)), number) << rate;
        }
    }
}

} // namespace
