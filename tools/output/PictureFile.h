#pragma once

#include <QString>
#include <QStringList>

struct RgbPicture;

// Where a picture goes, and in which format.
struct PictureTarget
{
    QString path;
    QString format; // one of PictureFile::Endings

    bool IsStandardOutput() const { return path == QLatin1String("-"); }
};

// Writes pictures as PNG, JPEG or PPM, which is a PNM.
namespace PictureFile {

// Limit for drawn pictures.
constexpr long long mostPixels = 64000000;

QStringList Endings(); // that select a format, in any case; here lower case, without the point
QString EndingOf(QString const& path);

// Replaces an existing file atomically. Returns false with a sentence in `error`.
bool Write(RgbPicture const& picture, PictureTarget const& target, QString& error);

} // namespace PictureFile
