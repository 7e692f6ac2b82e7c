#pragma once

#include "source/MediaItems.h"

#include <QStringList>

// The files to play, in order. A value.
class Playlist
{
public:
    using Entry = MediaItem;

    Playlist() = default;
    explicit Playlist(QStringList const& paths); // looks into folders and files: takes time where these are far away

    bool IsEmpty() const { return entries.isEmpty(); }
    int GetCount() const { return static_cast<int>(entries.size()); }
    int GetIndex() const { return current; }                     // of the present entry, from 0
    Entry const& GetCurrent() const { return entries[current]; } // only when not empty

    bool Move(int entries); // to a later or earlier entry; false and no move if there is none

private:
    QList<Entry> entries;
    int current = 0;
};
