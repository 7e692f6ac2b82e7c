#pragma once

// One block of the output callback while it is being filled: holds the next write position and drops or repeats input
// frames to follow the speed. A frame here is one value for each channel.
//
// The phase controls the speed: every frame written adds the speed's step, every frame dropped adds 1, every repetition
// subtracts 1. The step is positive below speed 1, negative above it and 0 at 1.
class OutputBlock
{
public:
    // The readable values of `samples`; positions before 0 and from `end` on are silent.
    struct Input
    {
        short const* samples = nullptr;
        long long end = 0;
    };

    // `buffer` has room for framesPerBuffer x channels values, both positive; `speed` is finite and positive; `phase`
    // is the previous block's final phase. A NaN volume counts as 0.
    OutputBlock(short* buffer, int framesPerBuffer, int channels, double volume, double speed, double phase);

    bool IsFull() const { return written >= framesPerBuffer; }
    int GetFrames() const { return framesPerBuffer; }
    int GetChannels() const { return channels; }
    double GetPhase() const { return phase; }

    // Writes the output for `frames` input frames, the first of which starts at value `index` of the input. Returns how
    // many of them were used before the block was full.
    int Play(Input const& input, long long index, int frames);

    void FillWithSilence(); // the rest of the block

    // Public for the drift correction, which counts frames without moving the position.
    short* position = nullptr; // next write position
    int written = 0;           // frames counted

private:
    int FollowInside(short const* samples, int frames);
    template <typename Source>
    int Follow(Source const& source, int frames);

    int framesPerBuffer = 0;
    int channels = 0;
    double volume = 1.0;
    double step = 0.0;
    double phase = 0.0;
};
