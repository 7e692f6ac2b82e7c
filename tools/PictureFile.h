#pragma once

#include <QString>

struct RgbPicture;

// Writes a picture to a file whose ending tells the format: .png, .jpg, .jpeg or .ppm, in any case.
namespace PictureFile {

bool IsSupported(QString const& path);

// An existing file is replaced, as a whole or not at all. False with a sentence in `error`.
bool Write(RgbPicture const& picture, QString const& path, QString& error);

} // namespace PictureFile
