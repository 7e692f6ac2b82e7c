#pragma once

#include <vector>

// Where pictures are missing, told by their times alone. Only material of a constant rate tells: where more than a few
// steps between pictures are of another length than the usual one, nothing is missing. Nor is anything right behind the
// first picture: a recording that begins inside a group lacks the pictures there that need something before it.
namespace PictureGaps {

struct Gap
{
    long long start = 0;  // when the first missing picture would have come
    long long length = 0; // until the picture that comes next
};

// `times`: starts of the pictures in rising order, microseconds.
std::vector<Gap> Find(std::vector<long long> const& times);

} // namespace PictureGaps
