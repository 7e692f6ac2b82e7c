#pragma once

#include "cache/DecodedAudio.h"
#include "playback/PlayNeed.h"

#include <memory>
#include <vector>

// The sound output's end of the engine: the decoded sound in two caches, one for each direction, and the blocks made of
// it by the fill.
//
//     forwards    DecodedAudio    as decoded
//     backwards   DecodedAudio    mirrored: samples in reverse order, times reflected about a fixed moment, so that
//                                 the same fill, which only goes forwards, plays it backwards
//
// A few milliseconds are always made ahead. When the run changes (start, stop, jump, turn), these go out fading, and
// the new run comes in fading at the place where it would be by then, so nothing clicks and nothing shifts.
//
// A run may also be one short piece, for a step or a drag: made whole when it begins, faded at both ends, then silence.
//
// Two threads, as the caches have it: the decoding thread appends and clears, the output thread calls Fill and
// GetPosition.
class SoundOutput
{
public:
    SoundOutput(int channels, int sampleRate); // of the sound that will be appended, at output

    int GetChannelCount() const { return channels; } // at output
    int GetSampleRate() const { return sampleRate; } // Hz

    // Decoding thread.
    void Append(std::shared_ptr<DecodedAudioFrame> const& frame, bool forwards);
    void Clear(bool forwards);                              // of one direction, little by little
    void Clear();                                           // frees everything at once
    void Trim(long long from, long long to, bool forwards); // lets go of what lies wholly outside

    // Output thread. Fills the block; does not allocate, and waits for nothing longer than an exchange of pointers.
    void Fill(short* buffer, int frames, SoundRun const& run);

    // Output thread. Before the first block: begins in place of `former`, which goes out fading where it has the same
    // format.
    void TakeTail(SoundOutput const& former);

    // Output thread. Whether the last block was of this run, and the time of the frame that comes next.
    bool Follows(SoundRun const& run) const;
    double GetPosition() const;

private:
    void Begin(SoundRun const& run);
    int WriteTail(short* buffer, int frames);
    void WriteRun(short* buffer, int frames);
    void Render(short* buffer, int frames);
    double Duration(int frames) const;
    short* PreparedAt(int frame);
    void MakePiece();
    void TakePiece(short* buffer, int frames);
    bool IsPieceOver() const;

    int const channels;
    int const sampleRate;
    int const fadeFrames;
    DecodedAudio forwardCache;
    DecodedAudio backwardCache;

    // The output thread's.
    SoundRun current;
    bool begun = false;      // something of the run has been made; the fill goes on from there
    double readPosition = 0; // of what is made next
    double preparedSpeed = 0.0;
    std::vector<short> prepared; // made ahead
    int preparedFrames = 0;
    int tailFrames = 0; // of the former run, at the front of `prepared`, still to go out
    int tailLength = 0;
    int fadedIn = 0; // frames of the run that have been faded in
    std::vector<short> piece;
    int pieceTaken = 0; // frames of it, and of the silence behind it up to the length of a fade
};
