#pragma once

#include <QSet>
#include <QStringList>
#include <QVector>

// The files to play, in order. A folder is replaced by what lies in it, unless that is one image sequence and nothing
// else. An image sequence is one entry, whether given as its folder, one of its files or many of them. A value.
class Playlist
{
public:
    struct Entry
    {
        QString path;
        bool isSequence = false;  // `path` is one file of an image sequence
        long long startIndex = 0; // of that file in its sequence, to begin there
    };

    Playlist() = default;
    explicit Playlist(QStringList const& paths); // looks into folders and files: takes time where these are far away

    bool IsEmpty() const { return entries.isEmpty(); }
    int GetCount() const { return entries.size(); }
    int GetIndex() const { return current; }                     // of the present entry, from 0
    Entry const& GetCurrent() const { return entries[current]; } // only when not empty

    bool Move(int entries); // to a later or earlier entry; false and no move if there is none

private:
    void Add(QString const& path);
    void AddFolder(QString const& path);
    void AddPicture(QString const& path);

    QVector<Entry> entries;
    QSet<QString> taken; // files of the sequences
    int current = 0;
};
