#pragma once

#include <functional>

// What the feeders of the decoding thread are to provide for: where play is, and where it is going. Times are
// microseconds of media time.
struct PlayNeed
{
    long long position = 0;
    bool playing = false;
    bool forwards = true; // the direction of play, or the last one while paused
    double speed = 0.0;   // 0 while paused
    int steps = 0;        // pictures still to step, negative ones backwards
    bool preview = false; // any picture near the position will do for now
    bool hushed = false;  // no sound is wanted: at this speed, or for a preview while paused
    long long budget = 0; // bytes of cached pictures
    long long opened = 0; // counts Open and Close
    long long sought = 0; // counts changes of the position other than by play
};

// Asks anew; any thread.
using AskNeed = std::function<PlayNeed()>;
