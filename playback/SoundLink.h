#pragma once

#include "playback/Latest.h"
#include "playback/PlayState.h"

#include <memory>

class SoundOutput;
class TimeSource;

// Connects the state of play and the sound output without making either wait. A thread that has updated the state
// leaves an order: what to play, by which clock. The output follows the newest order and leaves a report of its
// position. The next thread that updates the state sets the clock by it.
class SoundLink
{
public:
    // Under the lock of the state of play. Without an output nothing that has sound is open. `origin`: the container's
    // time of media time 0.
    void Leave(PlayState const& state, std::shared_ptr<SoundOutput> output, long long origin);
    void TakeReport(PlayState& state);

    // Output thread; see PlaybackEngine::FillAudio. Neither locks nor allocates.
    int Fill(short* buffer, int frames, long long delay, TimeSource const& timeSource);

private:
    struct Order
    {
        PlayState state;
        std::shared_ptr<SoundOutput> output;
        std::shared_ptr<SoundOutput> former; // in whose place `output` is; may be null
        long long outputSerial = 0;          // of `output`
        long long origin = 0;
    };

    // The output's next frame, and when it is heard.
    struct Place
    {
        double position = 0.0; // media time
        long long instant = 0;
    };

    bool HasFallenBehind(Place const& next, long long now, double speed) const;
    void SetClocks(Place const& next, double speed, bool freeClockGoesOn);
    void Report(Order const& order, Place const& next);

    Order newest; // its outputs; the rest is not kept
    Latest<Order> orders;
    Latest<SoundReport> reports;

    // The output thread's.
    PlayClock freeClock; // what is heard, had the time source alone told it since the output took up the run
    long long freeClockSerial = -1;
    PlayClock heardClock;   // what is heard, as of the last block
    long long lastFill = 0; // instant of that block
    long long outputSerial = 0;
    long long restarts = 0; // see SoundRun
};
