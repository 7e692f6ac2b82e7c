#pragma once

#include "TavolinPlaybackExport.h"

#include <QString>

#include <functional>
#include <memory>

struct ColourSettings;
struct DecodedVideoFrame;

// Asked again and again during long work on the decoding thread: true when nobody wants its result any more.
using StopCheck = std::function<bool()>;

// Where pictures come from: a stream, or the files of a sequence. Pictures are read in order; each has its exact span,
// whose end is one microsecond before the next picture's start. Times are microseconds of media time, never negative.
// One thread at a time.
class TAVOLINPLAYBACK_EXPORT PictureSource
{
public:
    // What came of a call.
    enum class Result {
        Picture, // there is one
        End,     // there is none any more
        Stopped, // by the check; after a stopped SeekTo the next call is to be another one
    };

    virtual ~PictureSource();

    // So that the next picture read is the one showing at `time` (the last one for a later time), or an earlier one
    // that has to be decoded for it anyway: not before the one showing at `earliest`, though, which is at most `time`.
    virtual Result SeekTo(long long time, long long earliest, StopCheck const& stop) = 0;

    // No picture from `time` on, at which one starts, will be read before the next seek: a source that can tell where
    // what lies before it is complete then says End, and spares itself what comes after.
    virtual void ReadOnlyBefore(long long time);

    // How the pictures are converted from the next seek on; what was read before it may still come as it was.
    virtual void SetColours(ColourSettings const& colours);

    // What the last picture was converted from; empty when that is unknown.
    virtual QString DescribeColours() const;

    // The next picture, the caller's to keep.
    virtual Result Read(std::shared_ptr<DecodedVideoFrame>& picture, StopCheck const& stop) = 0;

    // One microsecond after the last picture; -1 as long as the end has not been reached.
    virtual long long GetEnd() const = 0;

    // The container's time of media time 0; known once a picture has been read.
    virtual long long GetOrigin() const = 0;

    // From one picture at which decoding can begin to the next, as far as is known; 0 when it can begin at any.
    virtual long long GetGroupDuration() const;

    // What could not be read last, one sentence; empty when there was nothing.
    virtual QString GetError() const = 0;

    // Pictures that have come out of decoding so far.
    virtual long long GetDecodedCount() const = 0;
};
