#pragma once

#include "player/review/Reading.h"

#include <QByteArray>
#include <QStringList>

class QSettings;

// The player's settings, stored in the user's configuration folder.
class PlayerSettings
{
public:
    double volume = 1.0; // 0 to 1
    bool muted = false;
    bool scrubSound = true; // while stepping and dragging
    bool looping = false;
    bool streamColours = true; // pictures are converted as the stream says
    bool pixelReadout = false; // the pixel under the pointer is shown
    int cacheMegabytes = 512;
    double stillSeconds = 0.0;       // for which a still image stays; 0: until the next file is asked for
    Reading reading = Reading::Time; // of the place in the file
    QByteArray geometry;             // of the window, as QWidget saves it
    QString lastFolder;              // of the open dialog
    QString pictureFolder;           // where pictures are saved

    // From player.ini; missing or invalid values keep their defaults.
    static PlayerSettings Load();
    void Save() const;

    static QString KeyFilePath(); // keys.conf, beside player.ini
    static QString FilePath();
};

// The most recently opened files, newest first, stored in the user's data folder.
class RecentFiles
{
public:
    static constexpr int maxCount = 10;

    QStringList Load() const;            // only files that exist
    void Add(QString const& path) const; // made absolute; moves to the front

private:
    static QString FilePath();
};
