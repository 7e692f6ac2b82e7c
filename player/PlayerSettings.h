#pragma once

#include <QByteArray>
#include <QStringList>

class QSettings;

// What the player remembers from one run to the next, in the person's configuration folder.
class PlayerSettings
{
public:
    double volume = 1.0; // 0 to 1
    bool muted = false;
    bool looping = false;
    bool streamColours = true; // pictures are converted as the stream says
    int cacheMegabytes = 512;
    QByteArray geometry;   // of the window, as QWidget saves it
    QString lastFolder;    // of the open dialog
    QString pictureFolder; // where pictures are saved

    // From player.ini; what is missing or out of range keeps its default.
    static PlayerSettings Load();
    void Save() const;

    static QString KeyFilePath(); // keys.conf, beside player.ini
    static QString FilePath();
};

// The files opened last, the latest first, kept in the person's data folder from one run to the next.
class RecentFiles
{
public:
    static constexpr int maxCount = 10;

    QStringList Load() const;            // as long as they exist
    void Add(QString const& path) const; // made absolute; moves to the front

private:
    static QString FilePath();
};
