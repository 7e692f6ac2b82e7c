#pragma once

#include "source/DamageTimes.h"
#include "source/ReadResult.h"

#include <QString>
#include <QVector>

#include <memory>

struct ColourSettings;
struct DecodedVideoFrame;

// The pictures of a source in order: of a movie, of the files of a sequence, or a single one. Each has its exact span,
// whose end is one microsecond before the next picture's start. Times are microseconds of media time, never negative.
// One thread at a time.
//
//     stream->ReadAt(time, picture);                                       // the one that shows at `time`
//     while (stream->Read(picture) == ReadResult::Got) ...                 // and those that follow
class PictureStream
{
public:
    using Picture = std::shared_ptr<DecodedVideoFrame>; // the caller's to keep

    virtual ~PictureStream();

    // Finds the picture showing at `time`, the last one for a later time.
    ReadResult ReadAt(long long time, Picture& picture, StopCheck const& stop = neverStop);

    // The same, or an earlier picture that has to be decoded for it anyway: not before the one showing at `earliest`,
    // though, which is at most `time`.
    virtual ReadResult ReadNear(long long time, long long earliest, Picture& picture, StopCheck const& stop) = 0;

    // The next picture.
    virtual ReadResult Read(Picture& picture, StopCheck const& stop = neverStop) = 0;

    // Promises that no picture from `time` on, at which one starts, is read before the next search. A stream that can
    // tell where what lies before it is complete then says End, and spares itself what comes after.
    virtual void ReadOnlyBefore(long long time);

    // How the pictures are converted from the next search on; what was read before it may still come as it was.
    virtual void SetColours(ColourSettings const& colours);

    // What the last picture was converted from; empty when that is unknown.
    virtual QString DescribeColours() const;

    // One microsecond after the last picture; -1 as long as the end has not been reached.
    virtual long long GetEnd() const = 0;

    // The container's time of media time 0; known once a picture has been read.
    virtual long long GetOrigin() const;

    // From one picture at which decoding can begin to the next, as far as is known; 0 when it can begin at any.
    virtual long long GetGroupDuration() const;

    // What could not be read last, one sentence; empty when there was nothing.
    virtual QString GetError() const;

    // Where pictures could not be decoded, or only in part, as far as has been read: in rising order, each place once,
    // not more than DamageTimes::most of them.
    virtual QVector<long long> GetDamage() const;

    // Pictures that have come out of decoding so far.
    virtual long long GetDecodedCount() const = 0;
};
