#pragma once

#include "tools/TimeRange.h"

#include <QString>

#include <vector>

class Source;
class SoundStream;
struct DecodedAudioFrame;

// How loud the sound of a source is, from one end of a range of time to the other: the range is cut into columns, and
// of each column and channel it keeps the lowest, the highest and the mean square of the samples.
class SoundLevels
{
public:
    struct Level
    {
        short lowest = 0;
        short highest = 0;
        long long count = 0; // of samples; 0: there is no sound here
        double squares = 0.0;

        double GetRms() const; // root of the mean square; 0 without samples
    };

    enum class Result { Done, CannotOpen, NothingInRange };

    explicit SoundLevels(Source const& source); // which must outlive it

    // Of the part of `range` that lies between the beginning, which is media time 0 or the sound's if that is earlier,
    // and the end of the sound.
    Result Read(TimeRange const& range, int columns);

    int GetChannelCount() const { return channels; }
    int GetColumnCount() const { return columns; }
    Level const& GetLevel(int channel, int column) const;
    int GetPeak() const; // the largest distance of a sample from 0

    // Microseconds of media time: the range that the columns stand for.
    long long GetFrom() const { return from; }
    long long GetTo() const { return to; }

private:
    void ReadRange(SoundStream& sound);
    void Take(DecodedAudioFrame const& frame);
    void TakeSamples(short const* samples, int column); // one of each channel
    Level& LevelAt(int channel, int column);

    Source const& source;
    int channels = 0;
    int columns = 0;
    long long from = 0;
    long long to = 0;
    std::vector<Level> levels; // channel by channel
};
