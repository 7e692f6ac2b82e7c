#pragma once

#include "playback/PlayClock.h"
#include "playback/PlayNeed.h"

#include <limits>

// The moments between which play moves. Microseconds of media time.
struct PlayRange
{
    long long start = 0; // not later than 0
    long long end = 0;   // one after the last moment; an estimate unless `endKnown`
    bool endKnown = false;
    bool startKnown = true; // false until the sound has been opened, which may begin before the pictures
};

// The state of play: where play is and where it is going. A value without thread, lock or clock of its own: every
// operation is arithmetic on the instant `now` (microseconds of a TimeSource) that the caller passes.
//
//     paused --SetSpeed--> waiting --Begin--> running --Advance--> ended
//
// While it waits for the first picture and sound of a new place, the clock stands still. Fields are for everyone to
// read; only the operations change them. Times are microseconds of media time.
struct PlayState
{
    static constexpr long long notHeard = std::numeric_limits<long long>::min();

    // Commands. Invalid arguments are clamped.
    void Open(long long now); // paused at the start, without loop
    void SetSpeed(double newSpeed, long long now);
    void Step(int pictures, long long now); // adds to the steps still to make
    void Seek(long long time, long long now);
    void SeekPreview(long long time, long long until, long long now); // any picture near `time` will do until `until`
    void SetLoop(long long start, long long end);
    void SetVolume(double newVolume);
    void SetMuted(bool newMuted);
    void SetMuteAboveSpeed(double newSpeed);
    void SetScrubSound(bool on);

    // Changes by play itself. Advance applies the loop, the ends and the end of a preview; call it before reading.
    void Advance(PlayRange const& range, long long now);
    void Begin(long long now);                                  // what play waited for has been decoded
    void MakeStep(long long start, bool isLast, long long now); // to the picture that starts there; the last: no more
    void StartPiece() { isPieceAwaited = false; }               // it has been decoded
    void DropPiece();                                           // there is no sound to take it from
    void Follow(SoundReport const& report); // sets the clock by the output, unless it was set otherwise since

    // Never moves against the direction of play, although the sound output may set the clock back a little.
    long long GetPosition(long long now) const;
    bool IsRunning() const { return speed != 0.0 && !waiting && !ended; }
    bool IsHeard(long long now) const { return IsRunning() && now < heardUntil; } // the sound output sets the clock
    PlayNeed GetNeed(long long now) const;                                        // without budget and colours
    SoundRun GetSoundRun() const;                                                 // without position

    // Serials count changes: what was made for another number than the present one is out of date.
    long long openSerial = 0;  // of what is open
    long long seekSerial = 0;  // of the position, other than by playing and stepping
    long long clockSerial = 0; // of the clock, other than by the sound output
    long long wakeSerial = 0;  // of what has to be decoded

    PlayClock clock;                 // stands still unless running
    long long reported = 0;          // position given out last
    long long begunAt = 0;           // position at which the clock has begun to run
    double drift = 0.0;              // of the last report that was followed
    long long heardUntil = notHeard; // instant from which that report is too old

    double speed = 0.0;
    bool forwards = true;
    bool waiting = false;
    bool ended = false;
    bool untouched = true; // since Open nothing has moved the position: it becomes the start as soon as that is known
    int steps = 0;
    bool preview = false;
    long long previewUntil = 0;
    long long loopStart = 0;
    long long loopEnd = 0; // not after the start: no loop

    double volume = 1.0;
    bool muted = false;
    double muteAboveSpeed = 0.0;

    bool scrubSound = false;     // a piece of sound for each step and each preview while paused
    SoundPiece piece;            // the newest
    bool isPieceAwaited = false; // its sound has not been decoded yet
    long long pieceCount = 0;    // so far

private:
    void AskForPiece(long long position, bool isForwards);
    void Place(long long position, long long now);
    void Run(double clockSpeed, long long now);
    void Jump(long long position, long long now);
    void KeepWithin(PlayRange const& range, long long position, long long now);
};
