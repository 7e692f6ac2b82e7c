#pragma once

#include <limits>

// A range of media time in microseconds; `to` is outside.
struct TimeRange
{
    long long from = std::numeric_limits<long long>::min();
    long long to = std::numeric_limits<long long>::max();

    bool HasBegin() const { return from != std::numeric_limits<long long>::min(); }
    bool HasEnd() const { return to != std::numeric_limits<long long>::max(); }
};
