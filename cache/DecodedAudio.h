#pragma once

#include "TavolinAVExport.h"
#include "cache/FrameRing.h"
#include "decode/DecodedAudioFrame.h"

#include <QMutex>

#include <memory>

class OutputBlock;
class PlayedFrames;

// The decoded sound of one playback in time order, between the decoder, which appends frames as it makes them, and the
// output callback, which takes samples from them.
//
//     cache.SetMaxFrameCount(500);
//     cache.AppendFrame(record);                      // decoding thread
//     cache.UpdateCache(position - past, position + future);
//     cache.PaFillBuffer(buffer, frames, channels, rate, time, volume, reset, speed); // output thread
//
// Times are microseconds, both ends of a span belong to it. The cached frames follow each other without a gap: each
// ends one microsecond before the next one starts. Samples are interleaved signed 16-bit values.
//
// Two threads: the one that decodes calls everything but the fill, the output thread calls the fill and nothing else;
// FlushPaBuffer and PaResetDiffCounter are for any thread. The fill holds the mutex for its whole call; of the rest
// only SetMaxFrameCount and the growth inside AppendFrame take it, for an exchange of arrays. Everything else goes on
// while the fill runs, which never waits for it: it plays what it holds, and where its place is gone it plays silence
// and looks again at its next call.
//
// Nothing fails: what cannot be stored is dropped, what is not there is an empty pointer, -1 or silence.
class TAVOLINAV_EXPORT DecodedAudio
{
public:
    DecodedAudio(); // without slots: SetMaxFrameCount comes first
    ~DecodedAudio();
    DecodedAudio(DecodedAudio const&) = delete;
    DecodedAudio& operator=(DecodedAudio const&) = delete;

    // Slots of either array, none when negative. Meant for an empty cache; frames that no longer fit, as they lie, are
    // released like those of ForceClear.
    void SetMaxFrameCount(int count);

    // Places `frame` behind the latest or in front of the earliest; one that starts between the two, as either of them,
    // or ends before 0 is dropped. An empty pointer asks for Clear. Changes times of `frame` and of its neighbour so
    // that they meet, and where their tags differ the counts of the earlier one too. Releases two frames of the last
    // Clear.
    void AppendFrame(std::shared_ptr<DecodedAudioFrame> frame);

    // Releases the frames that end before `startTime` or start after `endTime`. GetStartTime and GetEndTime stay.
    void UpdateCache(long long startTime, long long endTime);

    void Clear();      // at once; frames are released two by two by later appends
    void ForceClear(); // releases every frame that is not being played

    int GetMaxFrameCount() const;                             // slots of the array in use; it grows
    int GetFrameCount() const;                                // frames cached
    long long GetSize() const { return cacheSize; }           // sample values of all frames
    long long GetStartTime() const { return cacheStartTime; } // of the earliest frame; 0 when empty
    long long GetEndTime() const { return cacheEndTime; }     // of the latest
    std::shared_ptr<DecodedAudioFrame> FirstFrame() const;    // the earliest; empty when none
    std::shared_ptr<DecodedAudioFrame> LastFrame() const;     // the latest; empty when none

    // Slots, as they lie in the array, or -1. The search gives -1 for a time that no frame covers.
    int GetFrameIndex(long long time) const;
    int GetFrameIndexBinarySearch(long long time, int low, int high) const;
    int GetNextFrameIndex(int index) const;
    int GetPreviousFrameIndex(int index) const;

    // The output callback. Fills `buffer` with framesPerBuffer x channels values, `sampleRate` the device's: the sound
    // at `time` when `reset`, after a flush and after silence, otherwise what follows the previous block. `volume`
    // scales, with clipping; `speed` drops or repeats frames, and at exactly 1.0 `time` serves to correct drift.
    // Silence where nothing is cached, and throughout for a rate or a speed that makes no sense.
    //
    // Returns the frames counted as written, framesPerBuffer; 0 for no buffer or no room in it, which it leaves alone.
    // Does not allocate, log, or wait but for the mutex. Frames that the cache has let go of meanwhile are released
    // here, once the buffer is complete and the mutex free.
    int PaFillBuffer(short* buffer, int framesPerBuffer, int channels, int sampleRate, long long time, double volume,
                     bool reset, double speed);

    // The fill's drift correction, at each change of frame: `time` is where the output has come to, `buffer` where it
    // goes on, `written` what it has counted. Corrects by the average of five measurements in a row beyond 10 ms.
    // Backwards, it repeats the frame's first samples, unscaled and always at `buffer`, and counts `channels` for each,
    // until `written` comes to framesPerBuffer; one value is written in any case.
    void PaSyncAudio(short* buffer, int framesPerBuffer, long long time, int channels, int sampleRate, int& written);

    void FlushPaBuffer();      // the next fill starts over at its time
    void PaResetDiffCounter(); // forgets the drift measured so far

    // What AppendFrame and UpdateCache are made of. Pushes do not look for room, pushes and pops leave GetStartTime and
    // GetEndTime as they are.
    void PushBack(std::shared_ptr<DecodedAudioFrame> frame);
    void PushFront(std::shared_ptr<DecodedAudioFrame> frame);
    void PopFront();
    void PopBack();
    void UpdateStartEndTimes(); // takes them from the frames at both ends

private:
    using FramePointer = std::shared_ptr<DecodedAudioFrame>;

    bool IsEmpty() const;
    bool StoreFrame(FramePointer frame);
    void PlaceFrame(FramePointer frame);
    void Grow();
    void PlayFrames(OutputBlock& block, long long time, int sampleRate, bool followsDrift, PlayedFrames& played);
    void ResetOutput(PlayedFrames& played);
    void TakeOutputFrame(long long time, int sampleRate, PlayedFrames& played);
    bool PlayOutputFrame(OutputBlock& block);
    void RepeatFirstSamples(short* buffer, int framesPerBuffer, int channels, int correction, int& written) const;

    FrameRing<DecodedAudioFrame> ring;
    long long cacheStartTime = 0;
    long long cacheEndTime = 0;
    long long cacheSize = 0; // as counted when frames came and went; a stretch in between is not

    // The output thread's.
    FramePointer outputFrame;       // being played; held, so that the cache may drop it meanwhile
    int outputSlot = -1;            // its slot; -1: look up by time
    int outputGeneration = 0;       // of the ring when outputSlot was looked up
    short* outputSamples = nullptr; // its samples
    long long outputFrameStart = 0; // its start time
    int remainingSamples = 0;       // its frames, per channel, still to be read
    int diffCount = 0;              // measurements beyond the tolerance in a row
    long long diffSum = 0;          // of these, in microseconds
    int flushCounter = 0;           // any thread: counts what makes a place in the ring stale
    int flushCounterSeen = 0;       // at the last reset of the place
    double speedPhase = 0.0;        // of the speed follower, see OutputBlock

    QMutex mutex; // keeps the fill apart from an exchange of arrays
};
