#pragma once

#include "cache/DecodedAudio.h"

#include <memory>
#include <numeric>
#include <vector>

// A frame like the decoder's: `values` at `start`; the rate gives its end.
inline std::shared_ptr<DecodedAudioFrame> SoundOf(std::vector<short> const& values, long long start, int channels = 1,
                                                  int sampleRate = 1000)
{
    auto frame = std::make_shared<DecodedAudioFrame>();
    frame->samples = new short[values.size()];
    std::copy(values.begin(), values.end(), frame->samples);
    frame->sampleCount = static_cast<int>(values.size());
    frame->sampleCapacity = frame->sampleCount;
    frame->sampleRate = sampleRate;
    frame->frameCount = frame->sampleCount / channels;
    frame->startTime = start;
    frame->endTime = start + frame->frameCount * 1000000LL / sampleRate - 1;
    return frame;
}

// `count` values, counting up from `first`.
inline std::vector<short> Counting(int count, short first = 1)
{
    std::vector<short> values(static_cast<size_t>(count));
    std::iota(values.begin(), values.end(), first);
    return values;
}

// At 1000 Hz a mono frame of 10 values lasts 10 ms: value n plays at (n - 1) ms.
inline std::shared_ptr<DecodedAudioFrame> CountingFrame(int number)
{
    return SoundOf(Counting(10, static_cast<short>(number * 10 + 1)), number * 10000LL);
}

inline void AppendCountingFrames(DecodedAudio& cache, int count)
{
    for (int i = 0; i < count; ++i)
        cache.AppendFrame(CountingFrame(i));
}

struct Block
{
    int written = -1;
    std::vector<short> values;
};

// Fills one mono block at 1000 Hz, preset to -7.
inline Block Fill(DecodedAudio& cache, int frames, long long time, bool reset = false, double speed = 1.0,
                  double volume = 1.0)
{
    Block block;
    block.values.assign(static_cast<size_t>(frames), -7);
    block.written = cache.PaFillBuffer(block.values.data(), frames, 1, 1000, time, volume, reset, speed);
    return block;
}

inline std::vector<short> FilledValues(DecodedAudio& cache, int frames, long long time, bool reset = false,
                                       double speed = 1.0, double volume = 1.0)
{
    return Fill(cache, frames, time, reset, speed, volume).values;
}
