#pragma once

#include "playback/TimeSource.h"

#include <atomic>
#include <thread>

// A time that stands still until it is told to go on.
class VirtualTime : public TimeSource
{
public:
    long long GetTime() const override { return time; }
    void Advance(long long microseconds) { time += microseconds; }

private:
    std::atomic<long long> time = 1000;
};

// A time that goes on with each look at it from another thread than that of its maker, as if decoding were slow.
class HurryingTime : public TimeSource
{
public:
    explicit HurryingTime(long long newHaste) : haste(newHaste) {}

    long long GetTime() const override
    {
        return std::this_thread::get_id() == maker ? time.load() : time.fetch_add(haste) + haste;
    }

private:
    long long const haste; // microseconds a look
    std::thread::id const maker = std::this_thread::get_id();
    mutable std::atomic<long long> time = 1000;
};
