#include "player/RecentFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

QString RecentFiles::FilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/tavolin/recent-files";
}

QStringList RecentFiles::Load() const
{
    QFile file(FilePath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QStringList files;
    for (QString const& line : QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts))
        if (QFileInfo::exists(line) && files.size() < maxCount)
            files << line;
    return files;
}

void RecentFiles::Add(QString const& path) const
{
    QFileInfo const added(path);
    if (!added.exists() || path.contains('\n'))
        return; // a pattern, or a name that a list by lines cannot hold
    QStringList files = Load();
    files.removeAll(added.absoluteFilePath());
    files.prepend(added.absoluteFilePath());
    QDir().mkpath(QFileInfo(FilePath()).absolutePath());
    QSaveFile file(FilePath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return;
    file.write((QStringList(files.mid(0, maxCount)).join('\n') + '\n').toUtf8());
    file.commit();
}
