#include "player/PlayerSettings.h"

#include <QDir>
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
    settings.looping = file.value("play/loop", settings.looping).toBool();
    settings.streamColours = file.value("picture/stream-colours", settings.streamColours).toBool();
    settings.cacheMegabytes =
        std::clamp(file.value("play/cache-mb", settings.cacheMegabytes).toInt(), 1, maxCacheMegabytes);
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
    file.setValue("play/loop", looping);
    file.setValue("play/cache-mb", cacheMegabytes);
    file.setValue("picture/stream-colours", streamColours);
    file.setValue("picture/folder", pictureFolder);
    file.setValue("window/geometry", geometry);
    file.setValue("files/last-folder", lastFolder);
}
