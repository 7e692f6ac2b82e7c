#pragma once

#include <vector>

// Finds missing pictures by their times alone. This works only for a constant rate: if more than a few steps differ
// from the usual one, nothing counts as missing. A gap directly after the first picture does not count either: a
// recording that begins inside a group lacks the pictures that refer to earlier ones.
namespace PictureGaps {

struct Gap
{
    long long start = 0;  // when the first missing picture would have come
    long long length = 0; // until the picture that comes next
};

// `times`: starts of the pictures in rising order, microseconds.
std::vector<Gap> Find(std::vector<long long> const& times);

} // namespace PictureGaps
