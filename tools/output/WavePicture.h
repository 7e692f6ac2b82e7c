#pragma once

#include "tools/output/RgbPicture.h"

#include <QString>

#include <vector>

class SoundLevels;

// Draws a waveform: a lane for each channel, and a time axis below. Each column has a line from its lowest to its
// highest sample, and inside it a brighter one for their root mean square. Silence is a line of one pixel; columns
// without sound are empty and darker.
namespace WavePicture {

// Pixels left and right of the columns; a column is one pixel wide.
int SideSpace();

int DefaultHeight(int channels);
int LeastHeight(int channels);

RgbPicture Draw(SoundLevels const& levels, int height); // not below the least height

} // namespace WavePicture

// Marks and labels for a time axis: at round times, as dense as the labels allow.
namespace TimeAxis {

struct Mark
{
    double place = 0.0; // from 0 at `from` to 1 at `to`
    QString text;       // "1:02:03", "0:05", "0:05.25"
};

// `most`: how many marks fit, at least 1.
std::vector<Mark> Marks(long long from, long long to, int most); // microseconds

} // namespace TimeAxis
