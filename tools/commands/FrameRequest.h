#pragma once

#include "decode/ColourSettings.h"
#include "tools/commands/Commands.h"
#include "tools/commands/TimeRange.h"

#include <QString>

#include <optional>

struct DecodedVideoFrame;

// What `tavolin frame` is asked for. Times are microseconds.
struct FrameRequest
{
    QString path;
    PictureTarget target;      // of a series: a pattern, or standard output
    bool isSeries = false;     // several pictures instead of the one at `time`
    long long time = 0;        // of the one
    std::optional<int> number; // of the one, from which its time is to be found; empty: the time is given
    QString timecode;          // of the one, from which its number is to be found; empty: none is given
    TimeRange range;           // of the series
    long long timeStep = 0;    // of the series; 0: by pictures
    int pictureStep = 1;       // of the series: every so many pictures
    bool asStored = false;
    ColourSettings colours;

    static FrameRequest From(Arguments& arguments);

    // As it is to be seen; says what was written.
    ExitCode Write(DecodedVideoFrame const& picture, PictureTarget const& to) const;

    void SayDamaged(long long start, QString const& reason) const; // of a picture; `reason` may be empty
    void SayLost(long long start) const;                           // that it cannot be decoded
};
