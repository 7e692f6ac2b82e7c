#include "common/Microseconds.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/rational.h>
}

#include <cmath>
#include <limits>

TEST(MicrosecondsTest, AreCountedPerTickInDouble)
{
    EXPECT_EQ(MicrosecondsPerTick(AVRational{1, 1000}), 1.0 / 1000.0 * 1000000.0);
    EXPECT_EQ(MicrosecondsPerTick(AVRational{1, 90000}), 1.0 / 90000.0 * 1000000.0);
    EXPECT_EQ(MicrosecondsPerTick(AVRational{1001, 30000}), 1001.0 / 30000.0 * 1000000.0);
    EXPECT_FALSE(std::isfinite(MicrosecondsPerTick(AVRational{1, 0})));
    EXPECT_FALSE(std::isfinite(MicrosecondsPerTick(AVRational{0, 0})));
}

TEST(MicrosecondsTest, AreCutTowardZero)
{
    EXPECT_EQ(TruncatedTime(1.999), 1);
    EXPECT_EQ(TruncatedTime(-1.999), -1);
    EXPECT_EQ(TruncatedTime(-0.5), 0);
}

TEST(MicrosecondsTest, StayInTheirRangeWhateverAFileSays)
{
    EXPECT_EQ(TruncatedTime(1e300), std::numeric_limits<long long>::max());
    EXPECT_EQ(TruncatedTime(-1e300), std::numeric_limits<long long>::min());
    EXPECT_EQ(TruncatedTime(9223372036854775808.0), std::numeric_limits<long long>::max());
    EXPECT_EQ(TruncatedTime(-9223372036854775808.0), std::numeric_limits<long long>::min());
    EXPECT_EQ(TruncatedTime(std::numeric_limits<double>::infinity()), std::numeric_limits<long long>::max());
    EXPECT_EQ(TruncatedTime(std::numeric_limits<double>::quiet_NaN()), 0);
}
