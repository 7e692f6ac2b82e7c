#pragma once

#include "TavolinAVExport.h"
#include "cache/FrameRing.h"
#include "decode/DecodedAudioFrame.h"

#include <QMutex>

#include <memory>

class OutputBlock;
class PlayedFrames;

// A cache of decoded audio frames in time order, between the decoder, which appends frames, and the audio output
// callback, which takes samples.
//
//     cache.SetMaxFrameCount(500);
//     cache.AppendFrame(record);                      // decoding thread
//     cache.UpdateCache(position - past, position + future);
//     cache.PaFillBuffer(buffer, frames, channels, rate, time, volume, reset, speed); // output thread
//
// Times are microseconds, spans include both ends. The cached frames have no gaps: each ends one microsecond before the
// next one starts. Samples are interleaved signed 16-bit values.
//
// Two threads: the output thread calls only the fill; the decoding thread calls everything else; FlushPaBuffer and
// PaResetDiffCounter are for any thread. The fill holds the mutex for its whole call. Of the other operations, only
// SetMaxFrameCount and the growth inside AppendFrame take it, to exchange arrays. All others run while the fill runs,
// and the fill never waits for them: it plays the frame it holds, and if its slot is no longer valid it plays silence
// and searches again in its next call.
//
// No operation fails: a frame that cannot be stored is dropped; a missing one gives an empty pointer, -1 or silence.
class TAVOLINAV_EXPORT DecodedAudio
{
public:
    DecodedAudio(); // has no slots before SetMaxFrameCount
    ~DecodedAudio();
    DecodedAudio(DecodedAudio const&) = delete;
    DecodedAudio& operator=(DecodedAudio const&) = delete;

    // Sets the number of slots of each array; a negative count gives none. Meant for an empty cache; if the frames do
    // not fit in their present slots, they are released as by ForceClear.
    void SetMaxFrameCount(int count);

    // Places `frame` after the latest or before the earliest frame. Drops a frame that starts between the two, at the
    // start of either, or ends before 0. An empty pointer clears. Changes the times of `frame` and its neighbour so
    // that they meet; if their tags differ, also the counts of the earlier frame. Releases two frames of the last
    // Clear.
    void AppendFrame(std::shared_ptr<DecodedAudioFrame> frame);

    // Releases the frames that end before `startTime` or start after `endTime`. Does not change GetStartTime and
    // GetEndTime.
    void UpdateCache(long long startTime, long long endTime);

    void Clear();      // empties the cache; later appends release the frames, two each
    void ForceClear(); // releases every frame except the one being played

    int GetMaxFrameCount() const;                             // slots of the live array; grows
    int GetFrameCount() const;                                // frames in the cache
    long long GetSize() const { return cacheSize; }           // sample values of all frames
    long long GetStartTime() const { return cacheStartTime; } // of the earliest frame; 0 when empty
    long long GetEndTime() const { return cacheEndTime; }     // of the latest
    std::shared_ptr<DecodedAudioFrame> FirstFrame() const;    // the earliest; empty when none
    std::shared_ptr<DecodedAudioFrame> LastFrame() const;     // the latest; empty when none

    // Slot numbers in the array, or -1. The search gives -1 for a time without a frame.
    int GetFrameIndex(long long time) const;
    int GetFrameIndexBinarySearch(long long time, int low, int high) const;
    int GetNextFrameIndex(int index) const;
    int GetPreviousFrameIndex(int index) const;

    // For the output callback: fills `buffer` with framesPerBuffer x channels values; `sampleRate` is the device's.
    // Plays from `time` when `reset` is set, after a flush and after silence; otherwise continues from the previous
    // block. `volume` scales, with clipping. `speed` drops or repeats frames; at exactly 1.0, `time` is used to correct
    // drift. Fills with silence where nothing is cached, and entirely for an invalid rate or speed.
    //
    // Returns the number of frames counted as written, framesPerBuffer; 0, without writing, for a null or empty buffer.
    // Does not allocate, log, or wait except for the mutex. Releases frames that the cache has dropped meanwhile, after
    // completing the buffer and unlocking the mutex.
    int PaFillBuffer(short* buffer, int framesPerBuffer, int channels, int sampleRate, long long time, double volume,
                     bool reset, double speed);

    // The fill's drift correction, called at each change of frame: `time` is the output's present time, `buffer` the
    // next place to write, `written` the frames counted so far. Corrects by the average of five successive measurements
    // beyond 10 ms. To go back, it repeats the frame's first samples, unscaled and always at `buffer`, and counts
    // `channels` for each, until `written` reaches framesPerBuffer; at least one value is written.
    void PaSyncAudio(short* buffer, int framesPerBuffer, long long time, int channels, int sampleRate, int& written);

    void FlushPaBuffer();      // the next fill restarts at its time
    void PaResetDiffCounter(); // discards the drift measurements

    // The steps of AppendFrame and UpdateCache. Pushes do not check for a free slot; pushes and pops do not change
    // GetStartTime and GetEndTime.
    void PushBack(std::shared_ptr<DecodedAudioFrame> frame);
    void PushFront(std::shared_ptr<DecodedAudioFrame> frame);
    void PopFront();
    void PopBack();
    void UpdateStartEndTimes(); // sets them from the first and last frame

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
    long long cacheSize = 0; // sum of the counts when frames were added and removed; ignores a stretch

    // Used by the output thread only, unless noted.
    FramePointer outputFrame;       // being played; held so that the cache may drop it
    int outputSlot = -1;            // its slot; -1: look up by time
    int outputGeneration = 0;       // of the ring when outputSlot was looked up
    short* outputSamples = nullptr; // its samples
    long long outputFrameStart = 0; // its start time
    int remainingSamples = 0;       // its frames, per channel, still to be played
    int diffCount = 0;              // any thread: successive measurements beyond the tolerance
    long long diffSum = 0;          // any thread: their sum, in microseconds
    int flushCounter = 0;           // any thread: incremented when outputSlot becomes invalid
    int flushCounterSeen = 0;       // flushCounter at the last reset
    double speedPhase = 0.0;        // see OutputBlock

    QMutex mutex; // excludes the fill during an exchange of arrays
};
