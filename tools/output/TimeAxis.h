#pragma once

#include <QString>

#include <vector>

// Where marks and their texts belong on an axis of time: at round times, as close together as texts have room.
namespace TimeAxis {

struct Mark
{
    double place = 0.0; // from 0 at `from` to 1 at `to`
    QString text;       // "1:02:03", "0:05", "0:05.25"
};

// `most`: how many marks there is room for, at least 1.
std::vector<Mark> Marks(long long from, long long to, int most); // microseconds

} // namespace TimeAxis
