#pragma once

#include "source/SourceOptions.h"

#include <QMap>
#include <QString>
#include <QStringList>

// The numbered files that together are one image sequence, in the order of their numbers.
//
//     take.0998.png  take.0999.png  take.1000.png  take.1002.png       one row, with a hole at 1001
//
// The number is the last one in the file's name. Leading zeros fill it to one width, which longer numbers outgrow
// (9, 10; 999, 1000). Files whose numbers lie far apart, as names made of the time of day do, are no sequence. A value;
// any thread.
class ImageSequence
{
public:
    // Whether `path` names a sequence by itself: a pattern with "%d", "%04d" or "####", or a folder.
    static bool IsPattern(QString const& path);

    // The row that `path` stands for: a pattern, a folder with one numbered row of images (the longest where there are
    // several), or one file of a row; a file without a number is a row of one. On failure an empty sequence, and
    // `error` says why in one sentence. With SequenceHoles::Refuse a row with a hole is a failure.
    static ImageSequence Find(QString const& path, SequenceHoles holes, QString& error);

    // What the names of one row have in common: the name with "/" instead of its number; empty without a number.
    static QString RowOf(QString const& fileName);

    static ImageSequence FromFile(QString const& path); // a row of this one

    bool IsEmpty() const;                   // no file at all
    long long GetCount() const;             // numbers from the first to the last, those without a file included
    long long GetFirstNumber() const;       // 0 when empty
    QString GetFile(long long index) const; // path of the file with the number first + index; empty for a hole
    QStringList GetFiles() const;           // all of them, in order
    QString GetPattern() const; // name of the files, such as "take.%04d.png"; empty when no pattern can say it

    long long GetIndexOf(QString const& path) const; // of that very file; -1 when it is none of them

    // Of the nearest file after `index` (GetCount when there is none), and of the nearest at or before it.
    long long GetIndexAfter(long long index) const;
    long long GetIndexUpTo(long long index) const;

private:
    QMap<long long, QString> files; // by number
    QString pattern;
};
