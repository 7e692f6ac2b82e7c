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
    QString path; // as given; later the source's name
    MediaItems::Rows rows = MediaItems::Rows::Sequences;
    PictureTarget target;            // of a series: a pattern, or standard output
    bool isNamed = false;            // the one whose file `path` is; nothing else tells which
    bool isSeries = false;           // several pictures instead of the one at `time`
    long long time = 0;              // of the one
    std::optional<long long> number; // of the one, from which its time is to be found; empty: the time is given
    QString timecode;                // of the one, from which its number is to be found; empty: none is given
    TimeRange range;                 // of the series
    long long timeStep = 0;          // of the series; 0: by pictures
    int pictureStep = 1;             // of the series: every so many pictures
    bool asStored = false;
    SourceOptions options;

    static FrameRequest From(Arguments& arguments);
    static void RejectUntold(Arguments& arguments); // nothing says which picture is asked for

    // As it is to be seen; says what was written, and calls it `name`.
    ExitCode Write(DecodedVideoFrame const& picture, PictureTarget const& to, QString const& name) const;

    void SayDamaged(long long start, QString const& reason) const; // of a picture; `reason` may be empty
    void SayLost(long long start) const;                           // that it cannot be decoded
};
