#pragma once

#include <QStringList>
#include <QVector>

// The files to play, in order. An image sequence is one entry, whether given as its folder, one of its files or many of
// them.
class Playlist
{
public:
    struct Entry
    {
        QString path;
        bool isSequence = false; // `path` is one file of an image sequence
    };

    Playlist() = default;
    explicit Playlist(QStringList const& paths);

    bool IsEmpty() const { return entries.isEmpty(); }
    int GetCount() const { return entries.size(); }
    int GetIndex() const { return current; }                     // of the present entry, from 0
    Entry const& GetCurrent() const { return entries[current]; } // only when not empty

    bool Move(int entries); // to a later or earlier entry; false and no move if there is none

private:
    QVector<Entry> entries;
    int current = 0;
};
