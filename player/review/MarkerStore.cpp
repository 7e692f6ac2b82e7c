#include "player/review/MarkerStore.h"

#include "player/review/MarkerFile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

QString Absolute(QString const& movie)
{
    return QDir::cleanPath(QFileInfo(movie).absoluteFilePath());
}

QString PathFor(QString const& movie)
{
    QByteArray const name = QCryptographicHash::hash(Absolute(movie).toUtf8(), QCryptographicHash::Sha1).toHex();
    return QDir(MarkerStore::Folder()).filePath(QString::fromLatin1(name) + ".json");
}

void ForgetOldest()
{
    QFileInfoList const newestFirst = QDir(MarkerStore::Folder()).entryInfoList({"*.json"}, QDir::Files, QDir::Time);
    for (int i = MarkerStore::mostFiles; i < newestFirst.size(); ++i)
        QFile::remove(newestFirst[i].filePath());
}

} // namespace

QString MarkerStore::Folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/tavolin/markers";
}

Markers MarkerStore::Load(QString const& movie)
{
    Markers markers;
    if (!QFileInfo::exists(PathFor(movie)))
        return markers;
    for (MarkerRow const& row : MarkerFile::Read(PathFor(movie)).rows) {
        if (row.kind == MarkerRow::Kind::Marker && row.time)
            markers.Set(*row.time, row.note);
    }
    return markers;
}

bool MarkerStore::Save(QString const& movie, Markers const& markers)
{
    QString const path = PathFor(movie);
    if (markers.IsEmpty())
        return !QFileInfo::exists(path) || QFile::remove(path);
    QVector<MarkerRow> rows;
    for (Marker const& marker : markers.GetAll())
        rows << MarkerRow{MarkerRow::Kind::Marker, marker.time, {}, {}, marker.note};
    QDir().mkpath(Folder());
    bool const isNew = !QFileInfo::exists(path);
    bool const isWritten = MarkerFile::Write(path, rows, Absolute(movie)).isEmpty();
    if (isNew)
        ForgetOldest();
    return isWritten;
}
