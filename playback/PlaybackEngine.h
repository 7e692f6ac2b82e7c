#pragma once

#include "TavolinPlaybackExport.h"
#include "playback/PlaybackOptions.h"
#include "playback/PlaybackStatus.h"

#include <QString>

#include <memory>

class TimeSource;
struct EngineParts;
struct DecodedVideoFrame;

// Plays one media source forwards and backwards at any speed, exact to the picture: movies, files of sound, still
// images and image sequences. It owns no window and no sound device; both pull from it.
//
//     AvGlobals::maxAudioOutputChannels = 2;           // once, before the first Open
//     PlaybackEngine engine;
//     engine.Open(path);                               // returns at once
//     engine.SetSpeed(1.0);
//     show(engine.GetPicture());                       // on every refresh of the display
//     engine.FillAudio(buffer, frames);                // whenever the sound device asks, on its own thread
//
// Times are microseconds of media time: 0 is the first picture (in a file of sound, the container's 0). The position
// stays between the start and the end of the media. The clock is the sound output's while that runs, and the time
// source's otherwise. After a seek, and when play begins, the clock waits for the first picture of the new place; from
// then on it waits for nothing: pictures that are not decoded in time are dropped and counted.
//
// Threads: the engine decodes on one thread of its own (sequences on some more). Every operation may be called from any
// thread at any moment, returns without waiting for decoding, and takes effect with the next picture, and within one
// block of sound; only WaitUntilReady and the destructor wait. FillAudio is for one thread at a time. The destructor is
// for when nobody calls any more.
class TAVOLINPLAYBACK_EXPORT PlaybackEngine
{
public:
    explicit PlaybackEngine(PlaybackOptions const& options = {}); // with the computer's steady clock

    // With a time source of the caller's, which the engine keeps alive; null is the steady clock.
    PlaybackEngine(PlaybackOptions const& options, std::shared_ptr<TimeSource const> timeSource);
    ~PlaybackEngine();
    PlaybackEngine(PlaybackEngine const&) = delete;
    PlaybackEngine& operator=(PlaybackEngine const&) = delete;

    // Opens, in place of what was open or is still opening, a movie, a file of sound, a still image, or an image
    // sequence, and stands paused at its start. A sequence is named by a pattern ("take.%04d.png", "take.####.png") or
    // by the folder that holds it; by one of its files with OpenSequence. If opening fails, the state becomes Closed
    // and `error` says why. Volume, mute and budget stay as they are, the loop is cleared.
    //
    // AvGlobals::maxAudioOutputChannels is set before the first of these; with 0 there is no sound.
    void Open(QString const& path);
    void OpenSequence(QString const& path); // the same, and one file of a numbered row stands for the whole row
    void Close() { Open({}); }              // also cancels an Open

    // The speed as a multiple of normal, held to -16 to 16; 0 pauses, below 0 plays backwards. Not a number is 0.
    void SetSpeed(double speed);
    void Pause() { SetSpeed(0.0); }

    // Pauses and moves by `pictures` pictures, later ones when positive, stopping at the first and the last: the very
    // neighbours, however uneven their times. Steps asked for faster than decoding follow each other, none is lost.
    void Step(int pictures);

    // Moves to `time`, whose very picture is shown next. While playing, play goes on from there.
    void Seek(long long time);

    // For dragging: shows first the nearest picture that can be decoded quickly, then the exact one, once no further
    // SeekPreview has come for PlaybackOptions::previewRest.
    void SeekPreview(long long time);

    // Plays from `start` up to, not including, `end` over and over, either way; a range below one microsecond clears
    // it.
    void SetLoop(long long start, long long end);
    void ClearLoop() { SetLoop(0, 0); }

    // Plays another stream of the file's sound, by its number in PlaybackStatus::soundStreams, or the one that FFmpeg
    // thinks best for -1 and where no stream of that number can be decoded. Position, speed and picture stay, and the
    // former stream plays until the new one is decoded; PlaybackStatus::isSoundChanging tells. Where channels or rate
    // differ, a sound device must be stopped before and started anew after, as around Open. The next Open goes back to
    // PlaybackOptions::soundStream.
    void SetSoundStream(int number);

    void SetVolume(double volume);        // factor of every sample, from 0; above 1 samples are clipped
    void SetMuted(bool muted);            // silence while play goes on
    void SetMuteAboveSpeed(double speed); // see PlaybackOptions

    // Whether, while paused, each step and each SeekPreview gives a short piece of the sound at its place: 60 ms, faded
    // at both ends, backwards for a step or a move back. FillAudio hands it out as soon as it is decoded. A new piece
    // fades out the one before it; muted there is none. At first as PlaybackOptions::scrubSound says.
    void SetScrubSound(bool on);

    void SetCacheBudget(long long bytes); // see PlaybackOptions; a smaller budget frees pictures immediately

    // How pictures become RGB from now on, also those of what is opened later. The picture on show stays until its
    // successor is decoded; what is cached is decoded anew. The cover of a file of sound stays as it was opened.
    void SetColours(ColourSettings const& colours);

    // The picture to show now, shared with the cache and never a copy; the one shown last while the one for now is not
    // decoded yet; null before the first, and without pictures. What play passed over is counted as dropped, so one
    // place calls this, on the display's beat. Only `data`, the sizes, `rotation` and `startTime` are to be read: the
    // end time is the cache's and changes.
    std::shared_ptr<DecodedVideoFrame const> GetPicture();

    // Writes the next `frames` frames of the sound into `buffer`: interleaved, GetStatus().channels values each, at
    // GetStatus().sampleRate, which is the source's own and never converted. Silence where there is no sound. `delay`
    // is how many microseconds pass until the first of them is heard. Waits neither for decoding nor for other
    // callers, does not allocate. Returns the frames written: `frames`, or 0 when nothing with sound is open; the
    // buffer is untouched then.
    //
    // At speed 1 the samples are those of DecodedAudio::PaFillBuffer, bit for bit; only within a few milliseconds of a
    // start, a stop, a seek, a turn or a change of mute they are faded, so that nothing clicks.
    int FillAudio(short* buffer, int frames, long long delay = 0);

    // The status now. Not const, like GetPicture and WaitUntilReady: it first applies what play has done since the last
    // call (loops, ends, steps), so that all callers are told the same.
    PlaybackStatus GetStatus();

    // Waits until nothing is left to do for the present position: the file is open or has failed to open, steps are
    // made, the exact picture is cached or known not to exist, the sound of the next second is decoded, and a change of
    // the budget is applied. False after `milliseconds` of real time. If the time source stands still meanwhile, no
    // picture is ever dropped.
    bool WaitUntilReady(int milliseconds);

private:
    std::unique_ptr<EngineParts> parts;
};
