#pragma once

// The libraries below PortAudio: ALSA and JACK.
namespace SoundLibraries {

// Ends their messages about devices that they look for and do not find, dozens of lines on standard error at each
// start of PortAudio. What matters, PortAudio's own calls return. Call before Pa_Initialize; any thread, any number of
// times.
void Silence();

} // namespace SoundLibraries
