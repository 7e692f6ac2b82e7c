#include "playback/TimeSource.h"

#include <chrono>

TimeSource::~TimeSource() = default;

long long SteadyTimeSource::GetTime() const
{
    auto const sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
}
