#pragma once

#include "TavolinPlaybackExport.h"

#include "playback/PlayNeed.h"
#include "playback/SoundOutput.h"
#include "source/SoundStream.h"

#include <atomic>
#include <mutex>

// Keeps the sound around the play position decoded: forwards frame by frame, backwards in pieces of a few seconds whose
// frames are mirrored. Times are microseconds of media time, unless a name says container.
class TAVOLINPLAYBACK_EXPORT SoundFeeder
{
public:
    // `origin`: the container's time of media time 0.
    SoundFeeder(std::unique_ptr<SoundStream> reader, long long origin);
    ~SoundFeeder();

    // Decoding thread. Finds where the sound begins; false when there is none.
    bool Begin(StopCheck const& stop);

    // Decoding thread. Does one piece of work if less than `ahead` microseconds of playing are decoded, and leaves it
    // for a seek to where nothing is. False when there is nothing to do.
    bool Work(PlayNeed const& need, AskNeed const& ask, long long ahead);

    // Any thread.
    bool HasSound(PlayNeed const& need, long long ahead) const; // or knows that there is none
    long long GetStart() const;
    long long GetEnd() const; // one microsecond after the last sound; the lowest possible time when not yet known
    bool IsEndKnown() const;
    long long GetOrigin() const { return origin; }
    void GetSpan(bool forwards, long long& start, long long& end) const;

    std::shared_ptr<SoundOutput> const& GetOutput() const { return output; }

private:
    // What is decoded in one direction, container time, both ends inclusive. Beyond an end of the sound the rest counts
    // as decoded.
    struct Cover
    {
        long long from = 0;
        long long to = -1;
    };

    bool ReadForwards(PlayNeed const& need, StopCheck const& stop);
    bool ReadBackwards(PlayNeed const& need, StopCheck const& stop);
    void RestartForwards(long long time, StopCheck const& stop);
    void Set(Cover& cover, long long from, long long to);
    bool Reaches(PlayNeed const& need, long long ahead) const;
    void NoteEnd();

    static constexpr long long unknown = std::numeric_limits<long long>::min();
    static constexpr long long forEver = std::numeric_limits<long long>::max();

    std::unique_ptr<SoundStream> const reader;
    long long const origin;
    std::shared_ptr<SoundOutput> const output;
    bool followsForwards = false; // the reader's next frame comes right behind the forward cover

    mutable std::mutex mutex; // of the covers, written by the decoding thread
    Cover forwardCover;
    Cover backwardCover;
    std::atomic<long long> begin = 0;     // container
    std::atomic<long long> end = unknown; // container
};
