#pragma once

#include "playback/TimeSource.h"

#include <atomic>

// A time that stands still until it is told to go on.
class VirtualTime : public TimeSource
{
public:
    long long GetTime() const override { return time; }
    void Advance(long long microseconds) { time += microseconds; }

private:
    std::atomic<long long> time = 1000;
};
