#include "common/TimeText.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

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

TEST(TimeTextTest, TakesTimesBelowZero)
{
    EXPECT_EQ(Parse("-1"), -1000000);
    EXPECT_EQ(Parse("-1:30.5"), -90500000);
    EXPECT_EQ(Parse("-1us"), -1);
    EXPECT_EQ(Parse("-0.0"), 0);
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
                             "+1",
                             "--1",
                             "-",
                             "-us",
                             "1:90",
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

// 2^63 - 1 microseconds are 9223372036854.775807 seconds, or 2562047788:00:54.775807.
TEST(TimeTextTest, TakesTheLowestAndTheHighestTimeAndNoneBeyond)
{
    constexpr long long highest = std::numeric_limits<long long>::max();
    constexpr long long lowest = std::numeric_limits<long long>::min();
    EXPECT_EQ(Parse("9223372036854.775807"), highest);
    EXPECT_EQ(Parse("2562047788:00:54.775807"), highest);
    EXPECT_EQ(Parse("153722867280:54.775807"), highest);
    EXPECT_EQ(Parse("-9223372036854775808us"), lowest);
    EXPECT_EQ(Parse("-9223372036854.775808"), lowest);
    EXPECT_EQ(Parse("-2562047788:00:54.775808"), lowest);
    for (char const* text :
         {"9223372036854775808us", "9223372036854.775808", "2562047788:00:54.775808", "-9223372036854775809us",
          "-9223372036854.775809", "-2562047788:00:54.775809", "18446744073709551616us", "99999999999999999999",
          "9999999999:00:00", "18446744073709551615:59:59", "184467440737095516150:00"})
        EXPECT_FALSE(Parse(text)) << text;
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

TEST(TimeTextTest, PrintsAShortClock)
{
    EXPECT_EQ(TimeText::ShortClock(0, 3), "0:00:00.000");
    EXPECT_EQ(TimeText::ShortClock(12480000, 3), "0:00:12.480");
    EXPECT_EQ(TimeText::ShortClock(59999999, 3), "0:00:59.999"); // truncated: that second is not over
    EXPECT_EQ(TimeText::ShortClock(3723004000, 3), "1:02:03.004");
    EXPECT_EQ(TimeText::ShortClock(-1500000, 3), "-0:00:01.500");
    EXPECT_EQ(TimeText::ShortClock(360000000000, 0), "100:00:00");
    EXPECT_EQ(TimeText::ShortClock(std::numeric_limits<long long>::min(), 6), "-2562047788:00:54.775808");
}

TEST(TimeTextTest, NamesAPictureByAMomentOfIt)
{
    EXPECT_EQ(TimeText::PictureClock(0, 33365), "00:00:00.000");
    EXPECT_EQ(TimeText::PictureClock(233566, 266932), "00:00:00.234"); // picture 7 at 29.97 a second
    EXPECT_EQ(TimeText::ShortPictureClock(233566, 266932), "0:00:00.234");
    EXPECT_EQ(TimeText::PictureClock(40000, 79999), "00:00:00.040");
    EXPECT_EQ(TimeText::PictureClock(999999, 1000000), "00:00:01.000");
    EXPECT_EQ(TimeText::PictureClock(59999001, 60040000), "00:01:00.000");
}

TEST(TimeTextTest, NamesAShortPictureWithAsManyDigitsAsItTakes)
{
    EXPECT_EQ(TimeText::PictureClock(1001, 2000), "00:00:00.002");
    EXPECT_EQ(TimeText::PictureClock(1001, 1999), "00:00:00.0011");
    EXPECT_EQ(TimeText::PictureClock(1400, 1799), "00:00:00.0014");
    EXPECT_EQ(TimeText::PictureClock(1401, 1499), "00:00:00.00141");
    EXPECT_EQ(TimeText::PictureClock(1401, 1409), "00:00:00.001401");
    EXPECT_EQ(TimeText::PictureClock(1401, 1401), "00:00:00.001401");
    EXPECT_EQ(TimeText::PictureClock(1400, 1400), "00:00:00.0014");
    EXPECT_EQ(TimeText::PictureClock(-1500, -500), "-00:00:00.001");
    constexpr long long latest = std::numeric_limits<long long>::max();
    EXPECT_EQ(TimeText::Parse(TimeText::PictureClock(latest, latest)), latest);
}

// Pictures at rates, their starts truncated to microseconds, and at even steps: the first ones, and some of many.
TEST(TimeTextTest, NamesOfPicturesReadBackAsTheSamePicture)
{
    std::vector<double> stepsUs = {1000.0, 400.0, 1.0};
    for (double const rate : {24000 / 1001.0, 30000 / 1001.0, 60000 / 1001.0, 120000 / 1001.0, 24.0, 25.0, 1000.0})
        stepsUs.push_back(1000000.0 / rate);
    for (double const step : stepsUs) {
        for (long long number = 0; number < 20000; number += number < 1000 ? 1 : 13) {
            auto const start = static_cast<long long>(static_cast<double>(number) * step);
            auto const end = static_cast<long long>(static_cast<double>(number + 1) * step) - 1;
            for (QString const& name : {TimeText::PictureClock(start, end), TimeText::ShortPictureClock(start, end)}) {
                long long const time = TimeText::Parse(name).value();
                ASSERT_TRUE(start <= time && time <= end) << name.toStdString() << ' ' << start << ' ' << end;
            }
        }
    }
}

TEST(TimeTextTest, PrintsSeconds)
{
    EXPECT_EQ(TimeText::Seconds(0), "0.000000");
    EXPECT_EQ(TimeText::Seconds(2068333), "2.068333");
    EXPECT_EQ(TimeText::Seconds(-40), "-0.000040");
    EXPECT_EQ(TimeText::Seconds(std::numeric_limits<long long>::min()), "-9223372036854.775808");
}

TEST(TimeTextTest, TakesWhatItPrints)
{
    for (long long const time : {0LL, 1LL, -1LL, 999999LL, 59999999LL, 3600000000LL, -86399999999LL,
                                 std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()}) {
        EXPECT_EQ(TimeText::Parse(TimeText::Seconds(time)), time);
        EXPECT_EQ(TimeText::Parse(TimeText::Clock(time)), time / 1000 * 1000);
        EXPECT_EQ(TimeText::Parse(TimeText::ShortClock(time, 6)), time);
    }
}
