#include "decode/Microseconds.h"

extern "C" {
#include <libavutil/rational.h>
}

#include <cmath>
#include <limits>

double MicrosecondsPerTick(AVRational const& timeBase)
{
    return static_cast<double>(timeBase.num) / static_cast<double>(timeBase.den) * 1000000.0;
}

long long TruncatedTime(double time)
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
