#pragma once

#include "decode/DecodedAudioFrame.h"

#include <QMutex>
#include <QMutexLocker>

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

// The simplest fill: value by value, with the frames in a plain vector. It needs no time to find its frames, which
// favours it.
class PlainFill
{
public:
    explicit PlainFill(std::vector<std::shared_ptr<DecodedAudioFrame>> frames) : frames(std::move(frames)) {}

    void Fill(short* buffer, int framesPerBuffer, int channels, double volume, bool reset, double speed)
    {
        QMutexLocker const lock(&mutex);
        double step = 0.0;
        if (speed > 1.0)
            step = 1.0 - speed;
        else if (speed < 1.0)
            step = 1.0 / speed - 1.0;
        if (reset) {
            next = 0;
            remaining = 0;
            phase = 0.0;
        }
        int written = 0;
        while (written < framesPerBuffer) {
            if (remaining <= 0) {
                frame = frames[next++];
                remaining = frame->frameCount;
            }
            int index = frame->sampleCount - remaining * channels;
            while (index < frame->sampleCount) {
                int const before = remaining;
                if (phase > -1.0) {
                    for (int c = 0; c < channels; ++c) {
                        double value = index >= frame->sampleCapacity
                                           ? 0.0
                                           : static_cast<double>(frame->samples[index + c]) * volume;
                        if (value > 32767.0)
                            value = 32767.0;
                        if (value < -32768.0)
                            value = -32768.0;
                        *buffer++ = static_cast<short>(value);
                    }
                    phase += step;
                    ++written;
                } else {
                    phase += 1.0;
                }
                --remaining;
                if (written >= framesPerBuffer)
                    return;
                while (phase > 1.0) {
                    std::memcpy(buffer, buffer - channels, static_cast<size_t>(channels) * sizeof(short));
                    buffer += channels;
                    ++written;
                    phase -= 1.0;
                    if (written >= framesPerBuffer)
                        return;
                }
                if (before < 2)
                    break;
                index += channels;
            }
        }
    }

private:
    std::vector<std::shared_ptr<DecodedAudioFrame>> frames;
    std::shared_ptr<DecodedAudioFrame> frame;
    size_t next = 0;
    int remaining = 0;
    double phase = 0.0;
    QMutex mutex;
};
