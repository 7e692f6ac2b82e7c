#pragma once

#include "source/ReadResult.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <vector>

// What the commands `info --json` and `check` find out, for Python. Any thread.
namespace Reports {

// Has the library's errors counted for the thread that they come on, instead of printed, and FFmpeg print nothing. Has
// checks in a forked process wait for none of this one. Once.
void CollectMessages();

// How a path is opened, see Video::OpenSource.
struct Opening
{
    bool isSequence = false;   // a single file stands for the row that it belongs to
    double sequenceRate = 0.0; // pictures per second
};

// A JSON object, without the true number of pictures if it is to be quick. Throws Video::OpenError.
QByteArray Describe(QString const& path, Opening const& opening, bool isQuick);

struct Fault
{
    std::string text;
    long long time = -1; // microseconds of media time; -1 when it has none
};

struct CheckReport
{
    std::vector<Fault> faults;
    long long pictures = 0;
    long long soundDuration = 0; // microseconds
};

// Decodes all of it both ways. One check at a time: others wait, because FFmpeg's messages are the process's. Throws
// Video::OpenError, and PictureSpan::Interrupted when it is stopped.
CheckReport Check(QString const& path, Opening const& opening, StopCheck const& stop);

} // namespace Reports
