#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// One source among those that a user names: one entry of the window's playlist, one report of a command.
// Source::Open opens it.
struct MediaItem
{
    QString path;             // a file, a pattern, or a folder that holds one image sequence and nothing else
    bool isSequence = false;  // `path` is one file of an image sequence, and stands for all of it
    long long startIndex = 0; // of that file in its sequence; 0 when no file was named
};

// What paths stand for, decided once for the window, the commands and Python:
//
//     shot.1010.png                      the image sequence that it belongs to, from 1010 on; a still without others
//     shot.1010.png shot.1011.png        that sequence once
//     shot.%04d.png, shot.####.png       the sequence; of movies and sound (take%02d.mov) each file by itself
//     a folder                           what lies in it, see MediaFolder::Read
//
// Looks into folders, and into files for their first bytes: takes time where these are far away. Any thread.
namespace MediaItems {

enum class Rows {
    Sequences, // numbered images are image sequences
    Stills     // each numbered image is a still by itself
};

// In the order given. A missing file and a folder without media stay in the list: opening them says what is wrong.
QList<MediaItem> Of(QStringList const& paths, Rows rows = Rows::Sequences);

enum class Half { Pictures, Sound };

// For commands on one source: the one that `path` stands for. Among several, the only one that can be meant: for
// pictures the only movie or sequence, for sound the only file of sound or movie. On failure `error` lists them, as
// half a sentence.
std::optional<MediaItem> OnlyOne(QString const& path, Half half, Rows rows, QString& error);

} // namespace MediaItems
