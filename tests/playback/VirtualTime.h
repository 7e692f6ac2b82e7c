#pragma once

#include "playback/TimeSource.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

// A time that advances only on command.
class VirtualTime : public TimeSource
{
public:
    long long GetTime() const override { return time; }
    void Advance(long long microseconds) { time += microseconds; }

private:
    std::atomic<long long> time = 1000;
};

// A time that advances at each call from another thread than its creator's, as if decoding were slow.
class HurryingTime : public TimeSource
{
public:
    explicit HurryingTime(long long newHaste) : haste(newHaste) {}

    long long GetTime() const override
    {
        return std::this_thread::get_id() == maker ? time.load() : time.fetch_add(haste) + haste;
    }

private:
    long long const haste; // microseconds per call
    std::thread::id const maker = std::this_thread::get_id();
    mutable std::atomic<long long> time = 1000;
};

// A time that stands still; each call from another thread than its creator's takes a while.
class SlowLooks : public TimeSource
{
public:
    long long GetTime() const override
    {
        if (std::this_thread::get_id() != maker)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        return 1000;
    }

private:
    std::thread::id const maker = std::this_thread::get_id();
};

// A time whose calls from another thread than its creator's fail.
class FailingTime : public TimeSource
{
public:
    long long GetTime() const override
    {
        if (std::this_thread::get_id() != maker)
            throw std::runtime_error("The clock is gone");
        return 1000;
    }

private:
    std::thread::id const maker = std::this_thread::get_id();
};

// A time that stands still and blocks one thread that calls it, until released.
class HoldingTime : public TimeSource
{
public:
    long long GetTime() const override
    {
        std::unique_lock lock(mutex);
        if (holds && std::this_thread::get_id() == held) {
            isHolding = true;
            changed.notify_all();
            changed.wait(lock, [this] { return !holds; });
        }
        return 1000;
    }

    // From the calling thread's next call on.
    void HoldThisThread()
    {
        std::lock_guard const lock(mutex);
        held = std::this_thread::get_id();
        holds = true;
    }

    void WaitUntilHeld() const
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isHolding; });
    }

    void LetGo()
    {
        std::lock_guard const lock(mutex);
        holds = false;
        changed.notify_all();
    }

private:
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::thread::id held;
    bool holds = false;
    mutable bool isHolding = false;
};
