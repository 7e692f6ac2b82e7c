#pragma once

struct AVRational;

// A time base in microseconds per tick; not finite when the base is not usable.
double MicrosecondsPerTick(AVRational const& timeBase);

// Truncated toward zero, and held to the range of a time: whatever a file says stays defined. Not a number gives 0.
long long TruncatedTime(double time);
