#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

// Small media for the tests of the command, and what FFmpeg alone makes of it.

// Four seconds of 96x64 at 25 pictures a second, each different, without sound; `arguments` choose the codec.
QString MovingPicture(QString const& name, QStringList const& arguments);

// The same with a tone.
QString Movie(QString const& name, QStringList const& arguments);

// `source` in another container, without a new encode.
QString Rewrapped(QString const& name, QString const& source, QStringList const& arguments = {});

// A movie of a hundred pictures, of which the second and those behind it cannot be decoded, `count` in all.
QString WithDamagedPictures(int count);

// `source` with zeros in the packet of the picture at `time` (microseconds, as the container has it), from the
// `skipped` hundredths of it on.
QString WithZerosAt(QString const& name, QString const& source, long long time, int skipped);

struct PlainPicture
{
    long long time = 0; // microseconds from the first picture; -1 when the file tells none
    QByteArray md5;     // of its RGB bytes at its stored width
};

// Every picture, decoded one after the other by one thread.
std::vector<PlainPicture> DecodePlainly(QString const& path);

// The one that shows at `time`: the last that starts at or before it.
PlainPicture ShowingAt(std::vector<PlainPicture> const& pictures, long long time);
