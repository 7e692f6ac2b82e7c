#pragma once

#include <QString>

// The name of the still image format of the file at `path`, as FFmpeg names it ("png", "mjpeg" for a JPEG, "dpx"...),
// told from its first bytes; empty for anything else, raw Motion-JPEG among it, and for a file that cannot be read. All
// are formats that Source takes for stills by the demultiplexer. A quick guess for folders with many files: what a file
// is says Source.
QString ImageFormatOf(QString const& path);

bool IsLinearFormat(QString const& format); // its pictures are in linear light by definition
