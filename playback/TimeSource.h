#pragma once

#include "TavolinPlaybackExport.h"

// What tells the engine the time, so that a test, a recording or an offline render can bring its own.
class TAVOLINPLAYBACK_EXPORT TimeSource
{
public:
    virtual ~TimeSource();

    // Microseconds since any fixed moment, never falling. Any thread, also the sound output's: neither waits nor
    // throws.
    virtual long long GetTime() const = 0;
};

// The computer's steady clock.
class TAVOLINPLAYBACK_EXPORT SteadyTimeSource : public TimeSource
{
public:
    long long GetTime() const override;
};
