#include "player/controls/TimeText.h"

#include <gtest/gtest.h>

TEST(TimeTextTest, WritesHoursMinutesSecondsAndMilliseconds)
{
    EXPECT_EQ(TimeText::WithMilliseconds(0), "0:00:00.000");
    EXPECT_EQ(TimeText::WithMilliseconds(12480000), "0:00:12.480");
    EXPECT_EQ(TimeText::WithMilliseconds(59999999), "0:00:59.999"); // cut: that second is not over
    EXPECT_EQ(TimeText::WithMilliseconds(3723004000), "1:02:03.004");
    EXPECT_EQ(TimeText::WithMilliseconds(-1500000), "-0:00:01.500");
    EXPECT_EQ(TimeText::WithoutFraction(360000000000), "100:00:00");
}

TEST(TimeTextTest, ReadsWhatPeopleWrite)
{
    EXPECT_EQ(TimeText::Parse("90"), 90000000);
    EXPECT_EQ(TimeText::Parse("1:30"), 90000000);
    EXPECT_EQ(TimeText::Parse("1:02:03.004"), 3723004000);
    EXPECT_EQ(TimeText::Parse("0.04"), 40000);
    EXPECT_EQ(TimeText::Parse("-1"), -1000000);
}

TEST(TimeTextTest, RefusesWhatIsNoTime)
{
    for (char const* text : {"", "-", "x", "1:", ":1", "1:2:3:4", "1:-2", "nan", "inf", "1e300"})
        EXPECT_EQ(TimeText::Parse(text), std::nullopt) << text;
}
