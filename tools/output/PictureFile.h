#pragma once

#include <QStringList>

struct RgbPicture;

// Writes a picture to a file. The file name's ending selects the format: .png, .jpg, .jpeg or .ppm, in any case.
namespace PictureFile {

// Limit for drawn pictures.
constexpr long long mostPixels = 64000000;

QStringList Endings(); // lower case, without the point

// Replaces an existing file atomically. Returns false with a sentence in `error`.
bool Write(RgbPicture const& picture, QString const& path, QString& error);

} // namespace PictureFile
