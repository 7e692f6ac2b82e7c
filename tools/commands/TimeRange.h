#pragma once

#include <limits>

// A stretch of media time in microseconds; `to` does not belong to it.
struct TimeRange
{
    long long from = std::numeric_limits<long long>::min();
    long long to = std::numeric_limits<long long>::max();

    bool HasBegin() const { return from != std::numeric_limits<long long>::min(); }
    bool HasEnd() const { return to != std::numeric_limits<long long>::max(); }
};
