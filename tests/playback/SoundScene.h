#pragma once

#include "decode/DecodedAudioFrame.h"
#include "playback/SoundOutput.h"

#include <memory>
#include <vector>

// Sound of 1000 Hz and one channel: a sample lasts a millisecond, a fade five samples. The sample at t milliseconds has
// the value 10 t + 10.
namespace SoundScene {

constexpr int sampleRate = 1000;
constexpr int frameSamples = 100;

inline std::shared_ptr<DecodedAudioFrame> FrameAt(int milliseconds)
{
    auto frame = std::make_shared<DecodedAudioFrame>();
    frame->samples = new short[frameSamples];
    for (int i = 0; i < frameSamples; ++i)
        frame->samples[i] = static_cast<short>(10 * (milliseconds + i) + 10);
    frame->sampleCount = frame->sampleCapacity = frame->frameCount = frameSamples;
    frame->sampleRate = sampleRate;
    frame->startTime = milliseconds * 1000LL;
    frame->endTime = (milliseconds + frameSamples) * 1000LL - 1;
    return frame;
}

// From 0 to 500 ms.
inline std::shared_ptr<SoundOutput> HalfASecond(bool forwards = true)
{
    auto output = std::make_shared<SoundOutput>(1, sampleRate);
    for (int i = 0; i < 5; ++i)
        output->Append(FrameAt(forwards ? 100 * i : 400 - 100 * i), forwards);
    return output;
}

} // namespace SoundScene
