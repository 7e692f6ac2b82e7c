#include "playback/PlayClock.h"

#include <cmath>

long long PlayClock::GetPosition(long long now) const
{
    return static_cast<long long>(std::floor(position + static_cast<double>(now - instant) * speed));
}

void PlayClock::SetPosition(double newPosition, long long now)
{
    position = newPosition;
    instant = now;
}

void PlayClock::SetSpeed(double newSpeed, long long now)
{
    position += static_cast<double>(now - instant) * speed;
    instant = now;
    speed = newSpeed;
}
