#pragma once

#include "media/FfmpegPtr.h"
#include "player/sound/AudioDevice.h"

#include <memory>
#include <vector>

// Converts between a source of sound and a device with another rate or number of channels. Create it on any thread;
// fill on one thread at a time.
class RateConverter
{
public:
    struct Format
    {
        int sampleRate; // Hz
        int channels;
    };

    // Null if libswresample cannot convert.
    static std::unique_ptr<RateConverter> Make(AudioDevice::Fill source, Format from, Format to);

    // As an AudioDevice::Fill; asks the source for as much as it needs.
    void Fill(short* buffer, int frames, long long delay);

private:
    RateConverter(AudioDevice::Fill source, Format from, Format to);
    int ConvertBlock(short* buffer, int frames, long long delay);

    AudioDevice::Fill source;
    Format to;
    std::vector<short> block; // from the source, before conversion
    FfmpegPtr<SwrContext> resampler;
};
