#pragma once

#include "source/PictureStream.h"

#include <deque>
#include <memory>

// The pictures of a source, any of them exactly and from each to its neighbours, with those around the last one kept in
// a byte budget.
//
//     ... |---- segment ----|######## kept ########|---- read on ----> ...
//         ^ from its key picture                   ^ place of the stream, while `follows`
//
// Forwards, pictures are read one by one; a quarter of the budget is kept of those behind, until one of them is asked
// for again, and the whole budget from then on. Backwards, a segment before the kept pictures is read forwards and put
// in front of them; segments grow while the walk goes on, up to what the budget holds, and take whole groups where they
// fit.
//
// Times are microseconds of media time. One thread at a time. Work that its check stops throws Interrupted.
class PictureSpan
{
public:
    using Picture = PictureStream::Picture; // valid for as long as it is held, whatever is kept here

    struct Interrupted
    {};

    // `frameStep` is an estimate in microseconds. At least four pictures are kept whatever the budget.
    PictureSpan(std::unique_ptr<PictureStream> stream, long long frameStep, long long budget);
    ~PictureSpan();

    Picture At(long long time, StopCheck const& stop); // the last one for a later time; null when none can be decoded
    Picture After(DecodedVideoFrame const& picture, StopCheck const& stop);  // null when it is the last one
    Picture Before(DecodedVideoFrame const& picture, StopCheck const& stop); // null when it is the first one

    long long GetEnd() const;    // one microsecond after the last picture; -1 as long as the end has not been reached
    long long GetOrigin() const; // the container's time of media time 0; known once a picture has been read
    QString GetError() const;    // what could not be read last, one sentence; empty when there was nothing

private:
    struct Segment
    {
        std::deque<Picture> pictures;
        long long bytes = 0;
    };

    Picture Find(long long time) const;
    void NoteReturn(long long time);
    void Append(Picture const& picture);
    void Note(Picture const& picture);
    void DropAll();
    bool ReadSegment(long long until, StopCheck const& stop);
    ReadResult ReadBefore(long long until, StopCheck const& stop, Segment& segment);
    void KeepWithinBudget(Segment& segment);
    long long MostPictures() const;
    long long StepLength() const;
    long long LengthBackwards(long long most, long long step) const;

    std::unique_ptr<PictureStream> const stream;
    long long const frameStep;
    long long const budget;
    std::deque<Picture> pictures; // in order, without a gap
    long long bytes = 0;          // of them
    long long largest = 1;        // bytes of the largest picture so far
    long long aim = 0;            // pictures that the next segment is to have
    long long first = 0;          // start of the first picture of all
    bool returns = false;         // the caller has gone back to pictures shortly behind
    bool follows = false;         // the next picture of the stream comes right behind the last kept one
};
