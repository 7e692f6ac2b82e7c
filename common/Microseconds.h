#pragma once

#include <cmath>
#include <limits>

// Times are whole microseconds in 64 bits everywhere.
inline constexpr long long secondUs = 1000000;

// Microseconds per tick of an FFmpeg time base; not finite for an unusable time base.
template <typename Rational>
double MicrosecondsPerTick(Rational const& timeBase)
{
    return static_cast<double>(timeBase.num) / static_cast<double>(timeBase.den) * secondUs;
}

// Truncates toward zero and clamps to the 64-bit range, so that any time in a file is defined. NaN gives 0.
inline long long TruncatedTime(double time)
{
    constexpr double limit = 9223372036854775808.0; // the first value beyond the range
    if (std::isnan(time))
        return 0;
    if (time >= limit)
        return std::numeric_limits<long long>::max();
    if (time < -limit)
        return std::numeric_limits<long long>::min();
    return static_cast<long long>(time);
}
