#pragma once

#include "playback/PlaybackEngine.h"
#include "tools/TimeRange.h"

#include <QString>

#include <memory>
#include <vector>

class Source;

// The sound of a source as the playback engine plays it at a speed, backwards too, taken block by block as fast as it
// is decoded: the engine's clock goes on by each block taken and not by itself. One thread.
//
//     SoundRender render(source);
//     if (render.Open() && render.Start(range, speed, volume))
//         while (render.Read(block)) ...
class SoundRender
{
public:
    explicit SoundRender(Source const& source); // which must outlive it
    ~SoundRender();

    bool Open(); // false: GetError says why

    // Takes the part of `range` in which there is sound, from its end on when `speed` is negative. False when there is
    // none; GetError says so.
    bool Start(TimeRange const& range, double speed, double volume);

    // The next block, interleaved; false at the end, and when the engine does not answer: then there is an error.
    bool Read(std::vector<short>& block);

    int GetChannelCount() const { return channels; }
    int GetSampleRate() const { return sampleRate; }
    long long GetFrameCount() const { return frameCount; } // of all blocks
    long long GetReadCount() const { return readCount; }   // frames of those read so far
    QString GetError() const { return error; }

private:
    class BlockTime;

    bool Wait();
    bool FindEnd(long long& end);

    Source const& source;
    std::shared_ptr<BlockTime> time;
    PlaybackEngine engine; // plays by the container's time
    int channels = 0;
    int sampleRate = 0;
    long long soundStart = 0;
    long long frameCount = 0;
    long long readCount = 0;
    QString error;
};
