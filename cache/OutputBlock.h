#pragma once

// One block of the output callback while it is being filled: where the next output frame goes, and which input frames
// are dropped or repeated on the way so that the speed is followed. A frame here is one value for each channel.
//
// The follower is a phase: every frame written moves it by the speed's step, every frame dropped by one upwards, every
// repetition by one downwards. Below speeds of 1 the step is positive, above it is negative, at 1 it is 0.
class OutputBlock
{
public:
    // Values that may be read from `samples`: before 0 and from `end` on there is silence.
    struct Input
    {
        short const* samples = nullptr;
        long long end = 0;
    };

    // `buffer` takes framesPerBuffer x channels values, both positive; `speed` is finite and positive; `phase` is what
    // the previous block ended with. A volume that is not a number counts as 0.
    OutputBlock(short* buffer, int framesPerBuffer, int channels, double volume, double speed, double phase);

    bool IsFull() const { return written >= framesPerBuffer; }
    int GetFrames() const { return framesPerBuffer; }
    int GetChannels() const { return channels; }
    double GetPhase() const { return phase; }

    // Writes what becomes of `frames` input frames, the first of which starts with value `index` of the input. Returns
    // how many of them were used until the block was full.
    int Play(Input const& input, long long index, int frames);

    void FillWithSilence(); // the rest of the block

    // Both are open to the drift correction, which counts frames without moving the position.
    short* position = nullptr; // where the next frame goes
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
