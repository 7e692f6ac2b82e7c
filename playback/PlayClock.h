#pragma once

#include <cmath>

// Where play is: a position, the instant at which it was true, and the speed since then. A value; times are
// microseconds, instants those of a TimeSource.
class PlayClock
{
public:
    // At the instant `now`.
    long long GetPosition(long long now) const { return static_cast<long long>(std::floor(At(now))); }

    double GetSpeed() const { return speed; } // microseconds of position per microsecond; 0: stands still

    // The speed stays.
    void SetPosition(double newPosition, long long now)
    {
        position = newPosition;
        instant = now;
    }

    // The position goes on from where it is.
    void SetSpeed(double newSpeed, long long now)
    {
        SetPosition(At(now), now);
        speed = newSpeed;
    }

private:
    double At(long long now) const { return position + static_cast<double>(now - instant) * speed; }

    double position = 0.0; // fractions are kept, so that thousands of settings do not add up to a drift
    long long instant = 0;
    double speed = 0.0;
};
