#include "player/Playlist.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

namespace {

QStringList const pictureSuffixes = {"bmp", "dpx", "exr", "j2k", "jp2",   "jpeg", "jpg", "pgm",  "png",
                                     "ppm", "psd", "rgb", "sgi", "targa", "tga",  "tif", "tiff", "webp"};

bool IsPictureFile(QString const& path)
{
    return pictureSuffixes.contains(QFileInfo(path).suffix().toLower());
}

// Equal for all files of one sequence: the path with the last number of the name replaced.
QString RowOf(QString const& path)
{
    static QRegularExpression const lastNumber("\\d+(?=\\D*$)");
    QFileInfo const file(path);
    return file.absolutePath() + '/' + file.fileName().replace(lastNumber, "#");
}

} // namespace

Playlist::Playlist(QStringList const& paths)
{
    QSet<QString> rows;
    for (QString const& path : paths) {
        bool const isSequence = IsPictureFile(path) && QFileInfo(path).isFile();
        QString const row = isSequence ? RowOf(path) : QString();
        if (isSequence && rows.contains(row))
            continue;
        rows.insert(row);
        entries.append({path, isSequence});
    }
}

bool Playlist::Move(int count)
{
    int const target = current + count;
    if (target < 0 || target >= entries.size())
        return false;
    current = target;
    return true;
}
