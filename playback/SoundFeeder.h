#pragma once

#include "playback/PlayNeed.h"
#include "playback/SoundOutput.h"
#include "source/SoundStream.h"

#include <limits>
#include <mutex>

// Keeps the sound around the play position decoded: forwards frame by frame, backwards in pieces of a few seconds whose
// frames are mirrored. Times are microseconds of media time, unless a name says container.
class SoundFeeder
{
public:
    static constexpr long long noLimit = std::numeric_limits<long long>::max();

    // What is decoded in one direction, both ends inclusive. Beyond an end of the sound the rest counts as decoded.
    struct Cover
    {
        long long from = 0;
        long long to = -1;
    };

    // How far the sound is read. Container time.
    struct Snapshot
    {
        Cover forwards;
        Cover backwards;
        long long begin = 0;     // of the first sound
        long long end = noLimit; // one microsecond after the last sound; no limit when not yet known
    };

    // `origin`: the container's time of media time 0.
    SoundFeeder(std::unique_ptr<SoundStream> reader, long long origin);
    ~SoundFeeder();

    // Decoding thread. Finds where the sound begins; false when there is none.
    bool Begin(StopCheck const& stop);

    // Decoding thread. Does one piece of work if less than `ahead` microseconds of playing are decoded, or not all of
    // the piece that is needed. A seek to a place that is not decoded breaks it off. False when there is nothing to do.
    bool Work(PlayNeed const& need, AskNeed const& ask, long long ahead);

    // Any thread.
    bool HasSound(PlayNeed const& need, long long ahead) const; // or knows that there is none
    bool HasPiece(SoundPiece const& piece) const;               // the same
    Snapshot GetSnapshot() const;
    long long GetOrigin() const { return origin; }
    int GetStreamIndex() const { return streamIndex; } // in the container
    std::shared_ptr<SoundOutput> const& GetOutput() const { return output; }

private:
    void ReadForPiece(SoundPiece const& piece, StopCheck const& stop);
    void ReadForwards(PlayNeed const& need, StopCheck const& stop);
    void ReadOn(long long time, StopCheck const& stop);
    void ReadBackwards(PlayNeed const& need, StopCheck const& stop);
    void RestartForwards(long long time, StopCheck const& stop);
    void Set(Cover& cover, long long from, long long to);
    void Publish();
    bool Reaches(PlayNeed const& need, long long ahead) const;

    static constexpr long long unknown = std::numeric_limits<long long>::min();

    std::unique_ptr<SoundStream> const reader;
    long long const origin;
    int const streamIndex;
    std::shared_ptr<SoundOutput> const output;
    bool followsForwards = false; // the reader's next frame comes right behind the forward cover
    Snapshot own;                 // the decoding thread's; published at every change

    mutable std::mutex mutex;
    Snapshot published;
};
