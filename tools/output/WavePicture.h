#pragma once

#include "tools/output/RgbPicture.h"

#include <QString>

#include <vector>

class SoundLevels;

// Draws sound: a lane for each channel with an axis of time below. In each column a line from the lowest to the highest
// sample, inside it a brighter one as high as the root of their mean square. Silence is a line of one pixel, and where
// there is no sound there is nothing, on darker ground.
namespace WavePicture {

// Pixels left and right of the columns, of which one is one pixel wide.
int SideSpace();

int DefaultHeight(int channels);
int LeastHeight(int channels);

RgbPicture Draw(SoundLevels const& levels, int height); // not below the least height

} // namespace WavePicture

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
