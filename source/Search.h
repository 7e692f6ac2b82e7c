#pragma once

#include "common/Microseconds.h"

#include <algorithm>

// What the searches for a time have in common, in pictures and in sound. Microseconds.
namespace Search {

constexpr long long longestGuess = 100 * 3600 * secondUs; // of a duration that the container does not say
constexpr long long farAway = 1000000000 * secondUs;      // beyond it are only times of damaged packets

// How far before its target a search looks next, after `back` has landed too late: 1, 2, 4... seconds.
constexpr long long FurtherBack(long long back)
{
    return std::max(2 * back, secondUs);
}

} // namespace Search
