#pragma once

#include "TavolinAVExport.h"

#include <memory>

// The samples of one decoded audio frame: interleaved signed 16-bit values of the output channels at the stream's own
// rate. Times are container microseconds, both ends inclusive. Shared between the host and the audio cache, which
// changes its times and counts; the last holder frees it, on any thread.
struct TAVOLINAV_EXPORT DecodedAudioFrame
{
    DecodedAudioFrame(); // without samples
    ~DecodedAudioFrame();
    DecodedAudioFrame(DecodedAudioFrame const&) = delete;
    DecodedAudioFrame& operator=(DecodedAudioFrame const&) = delete;

    short* samples = nullptr; // owned, from array new
    int sampleCount = 0;      // frameCount x channels; more than sampleCapacity when the cache stretched it
    int sampleCapacity = 0;   // values allocated
    int sampleRate = 0;       // Hz
    int frameCount = 0;       // samples per channel
    long long startTime = 0;  // of the first sample
    long long endTime = 0;    // one microsecond before the next frame's start
    int tag = -1;             // set by the host; the cache stretches frames of different tags to meet

private:
    friend class PlayedFrames;

    // Used by the audio cache at the end of a fill: links the frames that it is about to release.
    std::shared_ptr<DecodedAudioFrame> playedBefore;
    bool isPlayed = false; // linked
};
