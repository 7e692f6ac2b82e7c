#include "tools/report/SourceCheck.h"

#include <gtest/gtest.h>

namespace {

// So many pictures 40 ms apart.
std::vector<long long> Even(int count)
{
    std::vector<long long> times;
    for (int i = 0; i < count; ++i)
        times.push_back(i * 40000);
    return times;
}

std::vector<long long> Without(std::vector<long long> times, int first, int count)
{
    times.erase(times.begin() + first, times.begin() + first + count);
    return times;
}

} // namespace

TEST(PictureGapsTest, FindsOneMissingPicture)
{
    auto const gaps = PictureGaps::Find(Without(Even(100), 50, 1));
    ASSERT_EQ(gaps.size(), 1u);
    EXPECT_EQ(gaps[0].start, 2000000);
    EXPECT_EQ(gaps[0].length, 40000);
}

TEST(PictureGapsTest, FindsEachOfSeveralStretches)
{
    auto const gaps = PictureGaps::Find(Without(Without(Even(100), 70, 10), 20, 2));
    ASSERT_EQ(gaps.size(), 2u);
    EXPECT_EQ(gaps[0].start, 800000);
    EXPECT_EQ(gaps[0].length, 80000);
    EXPECT_EQ(gaps[1].start, 2800000);
    EXPECT_EQ(gaps[1].length, 400000);
}

TEST(PictureGapsTest, FindsNothingInEvenPictures)
{
    EXPECT_TRUE(PictureGaps::Find(Even(100)).empty());
    EXPECT_TRUE(PictureGaps::Find({}).empty());
    EXPECT_TRUE(PictureGaps::Find({0}).empty());
}

// 60 a second in a container of whole milliseconds: steps of 16 and 17.
TEST(PictureGapsTest, TakesRoundedTimesForEven)
{
    std::vector<long long> times;
    for (int i = 0; i < 100; ++i)
        times.push_back(i * 1000 / 60 * 1000);
    EXPECT_TRUE(PictureGaps::Find(times).empty());
    EXPECT_EQ(PictureGaps::Find(Without(times, 30, 1)).size(), 1u);
}

TEST(PictureGapsTest, ExpectsNothingOfVariableRates)
{
    std::vector<long long> times;
    for (int i = 0; i < 100; ++i) {
        if (i % 10 < 7)
            times.push_back(i * 40000);
    }
    EXPECT_TRUE(PictureGaps::Find(times).empty());
}

TEST(PictureGapsTest, ExpectsNothingOfAFewPictures)
{
    EXPECT_TRUE(PictureGaps::Find({0, 40000, 80000, 1000000, 1040000}).empty());
}

// A recording that begins inside a group.
TEST(PictureGapsTest, TakesWhatIsMissingBehindTheFirstPictureForTheBeginning)
{
    EXPECT_TRUE(PictureGaps::Find(Without(Even(100), 1, 2)).empty());
    EXPECT_EQ(PictureGaps::Find(Without(Even(100), 2, 2)).size(), 1u);
}
