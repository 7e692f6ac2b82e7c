#pragma once

// Where play is: a position, the instant at which it was true, and the speed since then. A value; times are
// microseconds, instants those of a TimeSource.
class PlayClock
{
public:
    long long GetPosition(long long now) const; // at the instant `now`
    double GetSpeed() const { return speed; }   // microseconds of position per microsecond; 0: stands still

    void SetPosition(double newPosition, long long now); // the speed stays
    void SetSpeed(double newSpeed, long long now);       // the position goes on from where it is

private:
    double position = 0.0; // fractions are kept, so that thousands of settings do not add up to a drift
    long long instant = 0;
    double speed = 0.0;
};
