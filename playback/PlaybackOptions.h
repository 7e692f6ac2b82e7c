#pragma once

#include "source/SourceOptions.h"

// How an engine opens and plays; given once, when it is made.
struct PlaybackOptions : SourceOptions
{
    // Bytes of decoded pictures kept around the play position, those included that wait to be put in front of them
    // while play goes backwards. Four pictures are kept whatever it says. On top come what the decoder itself needs, a
    // preview, and the picture shown last once it is not cached any more.
    long long cacheBudget = 512LL * 1024 * 1024;

    bool withSound = true;          // false leaves the sound of movies alone
    bool withPictures = true;       // false plays a source that has sound by it alone: 0 is the container's 0 then
    double muteAboveSpeed = 4.0;    // a higher speed, either way, is played without sound
    bool scrubSound = false;        // see PlaybackEngine::SetScrubSound
    long long previewRest = 150000; // microseconds without a new preview seek after which the exact picture is decoded
};
