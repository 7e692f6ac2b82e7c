#pragma once

#include "tools/output/RgbPicture.h"

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
