#include "tools/output/WavePicture.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace {

QString TextsOf(long long from, long long to, int most)
{
    QStringList texts;
    for (auto const& mark : TimeAxis::Marks(from, to, most))
        texts << mark.text;
    return texts.join(QLatin1Char(' '));
}

} // namespace

TEST(TimeAxisTest, MarksRoundTimes)
{
    EXPECT_EQ(TextsOf(0, 10000000, 11), "0:00 0:01 0:02 0:03 0:04 0:05 0:06 0:07 0:08 0:09 0:10");
    EXPECT_EQ(TextsOf(0, 10000000, 10), "0:00 0:02 0:04 0:06 0:08 0:10");
    EXPECT_EQ(TextsOf(0, 29000000, 4), "0:00 0:10 0:20");
    EXPECT_EQ(TextsOf(0, 200000000, 5), "0:00 1:00 2:00 3:00");
    EXPECT_EQ(TextsOf(3000000000, 10900000000, 4), "1:00:00 2:00:00 3:00:00");
}

TEST(TimeAxisTest, WritesAsManyDecimalsAsTheStepNeeds)
{
    EXPECT_EQ(TextsOf(0, 1000000, 4), "0:00.0 0:00.5 0:01.0");
    EXPECT_EQ(TextsOf(100000, 130000, 5), "0:00.10 0:00.11 0:00.12 0:00.13");
    EXPECT_EQ(TextsOf(62000000, 62004000, 3), "1:02.000 1:02.002 1:02.004");
}

TEST(TimeAxisTest, PlacesMarksByTheirShareOfTheRange)
{
    auto const marks = TimeAxis::Marks(500000, 2500000, 3);
    ASSERT_EQ(marks.size(), 2u);
    EXPECT_EQ(marks[0].place, 0.25);
    EXPECT_EQ(marks[1].place, 0.75);
}

TEST(TimeAxisTest, MarksTimesBeforeZero)
{
    EXPECT_EQ(TextsOf(-1500000, 1000000, 3), "-0:01 0:00 0:01");
}

TEST(TimeAxisTest, FindsAStepForAnyRange)
{
    EXPECT_EQ(TextsOf(0, 1, 1), "0:00.000");
    EXPECT_EQ(TextsOf(0, 100000000000000, 2), "0:00 24576:00:00");
}
