#include "player/PlayerSettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr int maxCacheMegabytes = 1024 * 1024;

QString Folder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/tavolin";
}

} // namespace

QString PlayerSettings::FilePath()
{
    return Folder() + "/player.ini";
}

QString PlayerSettings::KeyFilePath()
{
    return Folder() + "/keys.conf";
}

PlayerSettings PlayerSettings::Load()
{
    QSettings const file(FilePath(), QSettings::IniFormat);
    PlayerSettings settings;
    double const volume = file.value("sound/volume", settings.volume).toDouble();
    settings.volume = volume >= 0.0 ? std::min(volume, 1.0) : 1.0; // also not a number
    settings.muted = file.value("sound/muted", settings.muted).toBool();
    settings.scrubSound = file.value("sound/scrub", settings.scrubSound).toBool();
    settings.looping = file.value("play/loop", settings.looping).toBool();
    settings.streamColours = file.value("picture/stream-colours", settings.streamColours).toBool();
    settings.pixelReadout = file.value("picture/pixel", settings.pixelReadout).toBool();
    settings.cacheMegabytes =
        std::clamp(file.value("play/cache-mb", settings.cacheMegabytes).toInt(), 1, maxCacheMegabytes);
    double const stillSeconds = file.value("play/still-seconds", settings.stillSeconds).toDouble();
    settings.stillSeconds = stillSeconds > 0.0 ? stillSeconds : 0.0; // also not a number
    settings.reading = ReadingNamed(file.value("window/reading").toString());
    settings.geometry = file.value("window/geometry").toByteArray();
    settings.lastFolder = file.value("files/last-folder").toString();
    settings.pictureFolder =
        file.value("picture/folder", QStandardPaths::writableLocation(QStandardPaths::PicturesLocation)).toString();
    return settings;
}

void PlayerSettings::Save() const
{
    QDir().mkpath(Folder());
    QSettings file(FilePath(), QSettings::IniFormat);
    file.setValue("sound/volume", volume);
    file.setValue("sound/muted", muted);
    file.setValue("sound/scrub", scrubSound);
    file.setValue("play/loop", looping);
    file.setValue("play/cache-mb", cacheMegabytes);
    file.setValue("play/still-seconds", stillSeconds);
    file.setValue("picture/stream-colours", streamColours);
    file.setValue("picture/pixel", pixelReadout);
    file.setValue("picture/folder", pictureFolder);
    file.setValue("window/reading", NameOf(reading));
    file.setValue("window/geometry", geometry);
    file.setValue("files/last-folder", lastFolder);
}

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
        return; // a pattern, or a name that does not fit on one line
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
