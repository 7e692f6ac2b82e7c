#pragma once

#include <QStringList>
#include <QVector>

// The files to play, one after another. A row of numbered pictures is one entry, whether it came as its folder, as one
// of its files or as many of them.
class Playlist
{
public:
    struct Entry
    {
        QString path;
        bool isSequence = false; // one file that stands for its whole row
    };

    Playlist() = default;
    explicit Playlist(QStringList const& paths);

    bool IsEmpty() const { return entries.isEmpty(); }
    int GetCount() const { return entries.size(); }
    int GetIndex() const { return current; }                     // of the present entry, from 0
    Entry const& GetCurrent() const { return entries[current]; } // only when not empty

    bool Move(int entries); // to a later or earlier one; false, and no move, where there is none

private:
    QVector<Entry> entries;
    int current = 0;
};
