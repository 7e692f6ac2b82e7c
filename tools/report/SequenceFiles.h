#pragma once

#include "source/PictureStream.h"
#include "source/Source.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// The files of an image sequence, by the numbers in their names, for messages and reports. All of it takes a source
// that is a sequence. An index counts the numbers from 0, those without a file included.
namespace SequenceFiles {

// Numbers next to each other that have no file.
struct Hole
{
    long long first = 0; // in names
    long long last = 0;
};

QList<Hole> FindHoles(Source const& source);
long long GetBytes(Source const& source); // of all its files together
QString Describe(Hole const& hole);       // "the file of picture 1003 is missing"

long long IndexAt(Source const& source, long long time); // microseconds; held to the sequence
long long TimeOf(Source const& source, long long index);
long long NumberOf(Source const& source, long long index); // in the file's name
QString NameOf(Source const& source, long long index);     // "picture 1003 (shot.1003.png)"

// A sentence for each hole, and for each picture that begins at one of the times in `lost` and cannot be decoded; of
// those from `from` up to `to`.
QStringList DescribeFaults(Source const& source, QVector<long long> const& lost, long long from, long long to);

// What decoding one file, and nothing else, gives.
struct Decoded
{
    PictureStream::Picture picture; // with its span in the sequence; null when it cannot be decoded
    QString error;                  // FFmpeg's first message about it; empty when there is none
    bool isDamaged = false;         // FFmpeg had complaints
};

Decoded Decode(Source const& source, long long index); // one call at a time: see FfmpegMessages

// The first file that can be described, opened as a still image: what holds for all of them, as far as is known.
std::optional<Source> DescribeOne(Source const& source);

} // namespace SequenceFiles
