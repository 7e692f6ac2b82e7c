#include "cache/OutputBlock.h"

#include "cache/SampleScale.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

double StepOf(double speed)
{
    if (speed > 1.0)
        return 1.0 - speed;
    return speed < 1.0 ? 1.0 / speed - 1.0 : 0.0;
}

// Frames inside the input. With a constant number of channels, copying a frame is one move.
template <int fixedChannels>
struct InsideFrames
{
    short const* samples;
    int anyChannels;

    size_t GetChannels() const { return static_cast<size_t>(fixedChannels > 0 ? fixedChannels : anyChannels); }
    void Copy(int frame, int count, short* to) const
    {
        size_t const values = GetChannels();
        std::memcpy(to, samples + static_cast<size_t>(frame) * values,
                    static_cast<size_t>(count) * values * sizeof(short));
    }
    void Copy(int frame, short* to) const
    {
        std::memcpy(to, samples + static_cast<size_t>(frame) * GetChannels(), GetChannels() * sizeof(short));
    }
};

// Frames partly or wholly outside the input.
struct OutsideFrames
{
    OutputBlock::Input input;
    long long index;
    int channels;

    size_t GetChannels() const { return static_cast<size_t>(channels); }
    void Copy(int frame, int count, short* to) const
    {
        for (int i = 0; i < count; ++i, to += channels)
            Copy(frame + i, to);
    }
    void Copy(int frame, short* to) const
    {
        long long const start = index + static_cast<long long>(frame) * channels;
        for (int i = 0; i < channels; ++i)
            to[i] = start >= 0 && start + i < input.end ? input.samples[start + i] : short{0};
    }
};

// How many of `frames` frames at `index` are inside the input; if none, CountOutside gives how many are not.
int CountInside(long long index, long long end, int channels, int frames)
{
    return index < 0 || index >= end ? 0 : static_cast<int>(std::min<long long>((end - index) / channels, frames));
}

int CountOutside(long long index, int channels, int frames)
{
    return index >= 0 ? frames : static_cast<int>(std::min<long long>((channels - 1 - index) / channels, frames));
}

} // namespace

OutputBlock::OutputBlock(short* buffer, int framesPerBuffer, int channels, double volume, double speed, double phase)
    : position(buffer),
      framesPerBuffer(framesPerBuffer),
      channels(channels),
      volume(volume),
      step(StepOf(speed)),
      phase(phase)
{}

int OutputBlock::Play(Input const& input, long long index, int frames)
{
    short* const begin = position;
    int used = 0;
    while (used < frames && !IsFull()) {
        long long const at = index + static_cast<long long>(used) * channels;
        int const inside = CountInside(at, input.end, channels, frames - used);
        used += inside > 0 ? FollowInside(input.samples + at, inside)
                           : Follow(OutsideFrames{input, at, channels}, CountOutside(at, channels, frames - used));
    }
    if (volume != 1.0)
        ScaleSamples(begin, position - begin, volume);
    return used;
}

int OutputBlock::FollowInside(short const* samples, int frames)
{
    switch (channels) {
    case 1:
        return Follow(InsideFrames<1>{samples, 1}, frames);
    case 2:
        return Follow(InsideFrames<2>{samples, 2}, frames);
    case 6:
        return Follow(InsideFrames<6>{samples, 6}, frames);
    default:
        return Follow(InsideFrames<0>{samples, channels}, frames);
    }
}

template <typename Source>
int OutputBlock::Follow(Source const& source, int frames)
{
    if (step == 0.0 && phase > -1.0 && phase <= 1.0) {
        int const run = std::min(frames, framesPerBuffer - written);
        source.Copy(0, run, position);
        position += static_cast<size_t>(run) * source.GetChannels();
        written += run;
        return run;
    }
    size_t const channelCount = source.GetChannels();
    short* to = position;
    double nextPhase = phase;
    int count = written;
    int used = 0;
    while (used < frames && count < framesPerBuffer) {
        int const frame = used++;
        if (!(nextPhase > -1.0)) {
            nextPhase += 1.0; // dropped
            continue;
        }
        source.Copy(frame, to);
        to += channelCount;
        ++count;
        nextPhase += step;
        for (; nextPhase > 1.0 && count < framesPerBuffer; nextPhase -= 1.0, ++count, to += channelCount)
            source.Copy(frame, to);
    }
    position = to;
    phase = nextPhase;
    written = count;
    return used;
}

void OutputBlock::FillWithSilence()
{
    size_t const values = static_cast<size_t>(framesPerBuffer - written) * static_cast<size_t>(channels);
    std::fill_n(position, values, short{0});
    position += values;
    written = framesPerBuffer;
}
