#pragma once

#include "source/SourceOptions.h"

// How an engine opens and plays; given once, when it is made.
struct PlaybackOptions : SourceOptions
{
    // Bytes of decoded pictures kept around the play position, including those that are about to be cached. At least
    // four pictures are kept. The decoder's own pictures, a preview, and the last shown picture once it has left the
    // cache come on top.
    long long cacheBudget = 512LL * 1024 * 1024;

    bool withSound = true;          // false leaves the sound of movies alone
    bool withPictures = true;       // false plays a source that has sound by it alone: 0 is the container's 0 then
    double muteAboveSpeed = 4.0;    // a higher speed, either way, is played without sound
    bool scrubSound = false;        // see PlaybackEngine::SetScrubSound
    long long previewRest = 150000; // microseconds without a new preview seek after which the exact picture is decoded
};
