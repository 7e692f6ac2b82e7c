#pragma once

#include "decode/ColourSettings.h"

#include <functional>

// A short piece of sound while paused, at a picture that was stepped or dragged to.
struct SoundPiece
{
    static constexpr long long duration = 60000; // microseconds

    long long serial = 0;   // 0: none
    long long position = 0; // media time at which it begins, or ends when it sounds backwards
    bool forwards = true;
};

// What the feeders of the decoding thread have to provide for: where play is, and where it is going. Times are
// microseconds of media time.
struct PlayNeed
{
    long long position = 0;
    bool playing = false;
    bool forwards = true;     // the direction of play, or the last one while paused
    double speed = 0.0;       // of the clock: 0 while paused, and while play waits for a new place
    int steps = 0;            // pictures still to step, negative ones backwards
    bool preview = false;     // any picture near the position will do for now
    bool needsSound = true;   // false at a speed without sound, and for a preview while paused
    SoundPiece piece;         // to be decoded whatever `needsSound` says
    long long budget = 0;     // bytes of cached pictures
    ColourSettings colours;   // of the pictures
    long long openSerial = 0; // see PlayState
    long long seekSerial = 0;
};

// Gets the need as of now; any thread.
using AskNeed = std::function<PlayNeed()>;

// What the sound output plays, as of the first frame of a block. Times are microseconds of the container's time.
struct SoundRun
{
    long long seekSerial = 0; // see PlayState
    bool sounding = false;    // false: silence
    long long position = 0;   // of the first frame
    double speed = 0.0;       // multiple of normal, below 0 backwards
    double volume = 1.0;      // factor of every sample
    SoundPiece piece;         // in place of play; its position is the container's time
    long long restarts = 0;   // counts the times that the output lost its place and begins again at `position`
};

// Where the sound output is.
struct SoundReport
{
    long long clockSerial = -1; // of the clock that the output followed, see PlayState
    double position = 0.0;      // of the block's first frame, media time
    long long instant = 0;      // at which that frame is heard
    double drift = 0.0;         // see PlaybackStatus
};
