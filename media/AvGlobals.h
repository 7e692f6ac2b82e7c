#pragma once

#include "TavolinAVExport.h"

#include <QString>

// Settings and helpers of the whole library.
namespace AvGlobals {

// The largest number of channels that decoded sound may have. The host sets it once, before any decoding thread starts
// (typically to the channel count of its audio device); with 0 no channel is output.
extern TAVOLINAV_EXPORT int maxAudioOutputChannels;

// Wall-clock time in microseconds since the Unix epoch. Any thread.
TAVOLINAV_EXPORT long long GetTime();

// Whether `name`, the name of a demuxer or decoder in any case, is one of the still image formats "dpx", "exr",
// "mjpeg", "png", "targa" and "tiff". A Motion-JPEG movie has the decoder "mjpeg" too: look at the demuxer, which is
// image2 or *_pipe for images. Any thread.
TAVOLINAV_EXPORT bool IsImageFormat(QString const& name);

} // namespace AvGlobals
