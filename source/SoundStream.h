#pragma once

#include "source/ReadResult.h"

#include <QList>

#include <limits>
#include <memory>

class MediaInfo;
class MediaInstance;
struct DecodedAudioFrame;

// Reads the sound of a source in order and without holes, and finds any moment of it. Packets of pictures are passed
// over undecoded. Times are microseconds of the container's time. One thread at a time.
//
// Decoding begins well before a target, because most decoders need some packets until their samples are right. Frames
// without a time of their own, those drained at the end and the further ones of one packet, continue from the last end.
// What is missing between two frames is filled with silence, so that everything after it keeps its time.
class SoundStream
{
public:
    using Frame = std::shared_ptr<DecodedAudioFrame>; // the caller's to keep

    // Of a probed source; of the container's stream at `index`, or the best one for -1.
    explicit SoundStream(std::shared_ptr<MediaInfo> info, int index = -1);
    ~SoundStream();

    bool Open(); // false when there is no sound that can be decoded

    int GetIndex() const;        // of the stream, in the container
    int GetChannelCount() const; // at output
    int GetSampleRate() const;   // Hz

    // Finds the frame sounding at `time`, or the first one after it; End when there is none.
    ReadResult ReadAt(long long time, Frame& frame, StopCheck const& stop = neverStop);
    ReadResult Read(Frame& frame, StopCheck const& stop = neverStop); // the next one

    // Promises that all is read in order from here to the end: what is not sound is not even read from the file then.
    void ReadThrough();

    // One microsecond after the last frame; the lowest possible time as long as the end has not been reached.
    long long GetEnd() const;

private:
    bool Restart();
    void Forget();
    bool Land(long long time, long long latest, StopCheck const& stop);
    bool IsShortlyAhead(long long time) const;
    long long LatestTime() const;
    ReadResult PassUpTo(long long time, Frame& frame, StopCheck const& stop);
    void DecodePacket();
    void TakeFrame(Frame frame, bool hasTime);
    void ReleaseFirst(DecodedAudioFrame const* second);
    long long Believable(long long time);
    void FillHole(long long from, long long to);

    static constexpr long long unknown = std::numeric_limits<long long>::min();

    std::shared_ptr<MediaInfo> info;
    int const wantedIndex;
    std::unique_ptr<MediaInstance> instance;
    QList<Frame> ready;
    Frame first;                   // since the last landing; waits for the second one, which tells where it ends
    long long lastStart = unknown; // of the last frame taken since the last landing
    long long nextTime = unknown;  // one microsecond after its end
    long long outOfStep = 0;       // by how much the last time was, and was not believed
    bool ended = false;
    long long end = unknown;
};
