#pragma once

#include <QString>

// The name of the still image format of the file at `path`, as decoders are named ("png", "mjpeg" for a JPEG,
// "dpx"...), told from its first bytes; empty for anything else, raw Motion-JPEG among it, and for a file that cannot
// be read.
//
// A source is a still or a movie before it is probed, and the name of a picture's codec does not tell: a Motion-JPEG
// movie has an image codec too.
QString ImageFormatOf(QString const& path);
