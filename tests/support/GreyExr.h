#pragma once

#include <QString>

// An OpenEXR image of 32 x 16 pixels, all three channels 0.5 in linear light, as half floats without compression; not
// every ffmpeg can write one.
QString WriteGreyExr(QString const& name);
