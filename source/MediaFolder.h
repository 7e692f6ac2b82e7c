#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// Lists a folder as a person would: what can be played in it, each row of numbered images once.
//
//     intro.mov  shot.0001.exr  shot.0002.exr  take2.mov  take10.mov  notes.txt
//     -> intro.mov, the row of shot.0001.exr, take2.mov, take10.mov
//
// Images are told by their first bytes, movies and sound by the ending of their names, so that no file has to be
// probed. Hidden files and the folders inside are left out. Any thread.
namespace MediaFolder {

struct Entry
{
    QString path;            // of the file; the first one of a row
    bool isSequence = false; // `path` stands for a row of at least two numbered images: see ImageSequence::Find
};

// In natural order; empty when nothing in the folder can be played, and when it cannot be read.
QList<Entry> Read(QString const& path);

// By the ending of the name, for files that are no images by their first bytes.
bool IsMovieOrSound(QString const& path);
bool IsSound(QString const& path);

// The names of a folder, read once, so that looking for the rows of many images does not list it for each.
class Names
{
public:
    explicit Names(QStringList const& names);
    explicit Names(QString const& path); // of a folder

    bool IsAlone(QString const& name) const; // no other one differs from it by the number only

private:
    QHash<QString, int> rows; // how many names each has
};

// Natural order of names: numbers by their value (2 before 10), letters whatever their case.
bool ComesBefore(QString const& one, QString const& other);

} // namespace MediaFolder
