#pragma once

#include <QStringList>

struct RgbPicture;

// Writes a picture to a file whose ending tells the format: .png, .jpg, .jpeg or .ppm, in any case.
namespace PictureFile {

// What a drawn picture may grow to; more would be of no use to look at.
constexpr long long mostPixels = 64000000;

QStringList Endings(); // of the formats, without the point

// An existing file is replaced, as a whole or not at all. False with a sentence in `error`.
bool Write(RgbPicture const& picture, QString const& path, QString& error);

} // namespace PictureFile
