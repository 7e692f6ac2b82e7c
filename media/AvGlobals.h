#pragma once

#include "TavolinAVExport.h"

#include <QString>

// What the whole library shares.
namespace AvGlobals {

// The largest number of channels that decoded sound may have. The host sets it once, before any decoding thread starts
// (typically to the channel count of its audio device); with 0 no channel is output.
extern TAVOLINAV_EXPORT int maxAudioOutputChannels;

// Wall-clock time in microseconds since the Unix epoch. Any thread.
TAVOLINAV_EXPORT long long GetTime();

// Whether `name`, a demuxer's or decoder's name in any case, is one of the still image formats "dpx", "exr", "mjpeg",
// "png", "targa" and "tiff". A Motion-JPEG movie has such a decoder too: the demuxer decides (image2, or *_pipe). Any
// thread.
TAVOLINAV_EXPORT bool IsImageFormat(QString const& name);

} // namespace AvGlobals
