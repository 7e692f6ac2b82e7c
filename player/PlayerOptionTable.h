#pragma once

#include "common/Option.h"

// The player's options. `tavolin play` passes them on, so this header depends on nothing of the player.
inline constexpr Option playerOptions[] = {
    {"speed", "SPEED", "Play at this speed, -16 to 16 and not 0; below 0 is backwards."},
    {"start", "TIME", "Start at this time: seconds, or hours:minutes:seconds."},
    {"paused", nullptr, "Do not begin to play."},
    {"once", nullptr,
     "At the end of the last file print what was shown and dropped, and quit; with an error code if anything failed."},
    {"still-seconds", "SECONDS", "Time for which a still image stays; without it, until the next file is asked for."},
    {"loop", "yes|no", "Repeat; --loop=no does not.", "yes"},
    {"cache-mb", "SIZE", "Memory for decoded pictures in megabytes."},
    {"fps", "RATE", "Pictures per second of image sequences, 0.1 to 1000."},
    {"colours", "stream|plain", "\"stream\": as the stream says; \"plain\": by libswscale's defaults."},
    {"no-tone-mapping", nullptr, "Leave PQ and HLG as they are coded."},
    {"compare", "FILE", "Compare with this file: both play in step, and only the first one sounds."},
    {"fullscreen", nullptr, "Start in full screen."},
    {"mute", "yes|no", "Start without sound; --mute=no with sound.", "yes"},
    {"volume", "PERCENT", "Volume in percent, 0 to 100."},
    {"sound-stream", "NUMBER", "Play this stream of sound, from 1, where the file has it."},
    {"geometry", "GEOMETRY", "Size and place of the window, as WIDTHxHEIGHT+LEFT+TOP."},
    {"audio", "portaudio|null|wav:PATH", "Where sound goes: portaudio, null (nowhere) or wav:PATH."},
    {"opengl", "yes|no", "Paint with OpenGL or not; without this, OpenGL where a graphics card does its work."},
};
