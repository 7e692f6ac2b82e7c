#include "tools/report/TimeText.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

std::optional<long long> Parse(char const* text)
{
    return TimeText::Parse(QString::fromUtf8(text));
}

} // namespace

TEST(TimeTextTest, TakesSeconds)
{
    EXPECT_EQ(Parse("0"), 0);
    EXPECT_EQ(Parse("12"), 12000000);
    EXPECT_EQ(Parse("12.5"), 12500000);
    EXPECT_EQ(Parse("0.000001"), 1);
    EXPECT_EQ(Parse("90000"), 90000000000);
}

TEST(TimeTextTest, TakesAClock)
{
    EXPECT_EQ(Parse("00:00:12.500"), 12500000);
    EXPECT_EQ(Parse("01:02:03"), 3723000000);
    EXPECT_EQ(Parse("2:05.25"), 125250000);
    EXPECT_EQ(Parse("90:00"), 5400000000);
    EXPECT_EQ(Parse("100:59:59.999999"), 363599999999);
}

TEST(TimeTextTest, TakesMicroseconds)
{
    EXPECT_EQ(Parse("12500000us"), 12500000);
    EXPECT_EQ(Parse("0us"), 0);
    EXPECT_EQ(Parse("9223372036854775807us"), std::numeric_limits<long long>::max());
}

TEST(TimeTextTest, CutsDigitsBeyondTheMicrosecond)
{
    EXPECT_EQ(Parse("1.9999999"), 1999999);
    EXPECT_EQ(Parse("0:01.0000009"), 1000000);
}

TEST(TimeTextTest, RefusesEverythingElse)
{
    for (char const* text : {"",
                             ".",
                             ".5",
                             "12.",
                             "-1",
                             "+1",
                             "-1us",
                             "us",
                             "1.5us",
                             "12 ",
                             " 12",
                             "1e3",
                             "nan",
                             "inf",
                             "0x10",
                             "12,5",
                             "1.2.3",
                             "1.2x",
                             ":",
                             "1:",
                             ":1",
                             "1:60",
                             "1:60:00",
                             "1:2:3:4",
                             "1:-2",
                             "1.5:00",
                             "12s",
                             "12ms",
                             "\xd9\xa1\xd9\xa2"})
        EXPECT_FALSE(Parse(text)) << '"' << text << '"';
}

TEST(TimeTextTest, RefusesTimesThatDoNotFit)
{
    EXPECT_FALSE(Parse("9223372036854775808us"));
    EXPECT_FALSE(Parse("99999999999999999999"));
    EXPECT_FALSE(Parse("9223372036855"));
    EXPECT_FALSE(Parse("9999999999:00:00"));
    EXPECT_TRUE(Parse("9223372036853"));
    EXPECT_TRUE(Parse("2147483647:00:00"));
}

TEST(TimeTextTest, PrintsAClock)
{
    EXPECT_EQ(TimeText::Clock(0), "00:00:00.000");
    EXPECT_EQ(TimeText::Clock(12500000), "00:00:12.500");
    EXPECT_EQ(TimeText::Clock(3723999999), "01:02:03.999");
    EXPECT_EQ(TimeText::Clock(363599999999), "100:59:59.999");
    EXPECT_EQ(TimeText::Clock(-100000), "-00:00:00.100");
    EXPECT_EQ(TimeText::Clock(std::numeric_limits<long long>::min()), "-2562047788:00:54.775");
}

TEST(TimeTextTest, PrintsSeconds)
{
    EXPECT_EQ(TimeText::Seconds(0), "0.000000");
    EXPECT_EQ(TimeText::Seconds(2068333), "2.068333");
    EXPECT_EQ(TimeText::Seconds(-40), "-0.000040");
}

TEST(TimeTextTest, TakesWhatItPrints)
{
    for (long long const time : {0LL, 1LL, 999999LL, 59999999LL, 3600000000LL, 86399999999LL}) {
        EXPECT_EQ(TimeText::Parse(TimeText::Seconds(time)), time);
        EXPECT_EQ(TimeText::Parse(TimeText::Clock(time)), time / 1000 * 1000);
    }
}
