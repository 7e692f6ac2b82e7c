#pragma once

#include "playback/Latest.h"
#include "playback/PictureFeeder.h"
#include "playback/PlayClock.h"
#include "playback/PlaybackOptions.h"
#include "playback/PlaybackStatus.h"
#include "playback/SoundFeeder.h"
#include "source/Source.h"

#include <QString>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

class TimeSource;

// What PlaybackEngine is made of: the state of play, which every thread may change under one short lock, and the
// decoding thread, which looks at that state again before each piece of work and asks what is needed most.
//
//     any thread          state of play: clock, speed, loop, steps...        changes take effect at once
//         | wakes                 ^ asks
//     decoding thread     PictureFeeder -> PictureCache        SoundFeeder -> SoundOutput
//                                               |                                 |
//     display, output                      GetPicture                         FillAudio
//
// The sound output takes no lock. Whoever has looked at the state leaves an order for it, it leaves a report of where
// it is, and whoever looks next takes that over into the clock.
//
// Nothing is posted and nothing queues up: a command only changes what is needed. What play itself brings about (the
// end of a wait, steps, the loop, the end of the media) is settled by whoever looks next. Locks are taken in the order
// state, then cache; decoding holds neither.
class EngineCore
{
public:
    EngineCore(PlaybackOptions const& options, std::shared_ptr<TimeSource const> timeSource);
    ~EngineCore();

    void Open(QString const& path, bool isSequence);
    void Close();
    void SetSpeed(double speed);
    void Step(int pictures);
    void Seek(long long time, bool isPreview);
    void SetLoop(long long start, long long end);
    void SetVolume(double volume);
    void SetMuted(bool muted);
    void SetMuteAboveSpeed(double speed);
    void SetCacheBudget(long long bytes);
    void SetColours(ColourSettings const& colours);

    std::shared_ptr<DecodedVideoFrame const> GetPicture();
    int FillAudio(short* buffer, int frames, long long delay);
    PlaybackStatus GetStatus();
    bool WaitUntilReady(int milliseconds);

private:
    using Lock = std::unique_lock<std::mutex>;

    // What is open. The decoding thread makes and destroys it; the others look into it under the lock.
    struct Media
    {
        SourceKind kind = SourceKind::None; // Sound, too, where the pictures are left out or cannot be decoded
        Source source;
        std::unique_ptr<PictureFeeder> pictures; // null without pictures
        std::unique_ptr<SoundFeeder> sound;      // null without sound
        int width = 0;
        int height = 0;
    };

    // What the sound output is to play, as of the last look at the state.
    struct SoundOrder
    {
        std::shared_ptr<SoundOutput> output; // null: nothing with sound is open
        long long origin = 0;                // container time of media time 0
        SoundRun run;                        // its position is the clock's
        PlayClock clock;
        long long reported = 0;
        long long clockSerial = 0;
    };

    // Where the sound output is.
    struct SoundReport
    {
        long long clockSerial = -1; // of the order: a clock that was set since then is right
        double position = 0.0;      // of the block's first frame, media time
        long long instant = 0;      // at which that is heard
        double drift = 0.0;
    };

    // The decoding thread.
    void Run();
    bool WorkOnce(Lock& lock, AskNeed const& ask);
    void GiveUp(Lock& lock, QString const& trouble);
    void HandleOpening(Lock& lock);
    void OpenMedia(Lock& lock, QString const& path, bool isSequence);
    std::unique_ptr<Media> MakeMedia(Source source, QString& trouble, StopCheck const& stop);
    std::unique_ptr<SoundFeeder> MakeSound(Media const& media, StopCheck const& stop);
    bool Feed(Media& media, PlayNeed const& need, AskNeed const& ask);
    void LetGo(std::unique_ptr<Media> former);

    // The output thread.
    void ReportSound(SoundOrder const& order, long long now, long long delay);

    // Under the lock, but for the first.
    long long Now() const;
    void Wake();
    PlayNeed GetNeed(long long now);
    long long GetPosition(long long now);
    void ChangeColours(Lock& lock);
    void Settle(long long now);
    void SettlePlay(long long now);
    void TakeReport();
    void LeaveOrder();
    void TakeSteps(long long now);
    void KeepWithinMedia(long long now);
    void KeepWithinEnds(long long position, long long now);
    void Jump(long long position, long long now);
    void PlaceAt(long long position, long long now);
    void RunClock(double speed, long long now);
    bool IsReady(long long now, long long soundAhead);
    bool IsBudgetHeeded() const;
    bool IsEndKnown() const;
    long long GetStart() const;
    long long GetEnd() const;
    PictureCache::Place FindPicture(long long now);
    void ShowPicture(PictureCache::Place const& place);
    long long CountBetween(PictureCache::Place const& one, PictureCache::Place const& other) const;
    void FillStatusOfMedia(PlaybackStatus& status) const;
    PlaybackState GetState() const;

    PlaybackOptions const options;
    std::shared_ptr<TimeSource const> const timeSource;

    std::condition_variable wake;
    std::condition_variable progress;
    Latest<SoundOrder> orders;   // written under the lock
    Latest<SoundReport> reports; // read under the lock

    // The output thread's.
    PlayClock freeClock; // runs by the time source alone since the output took up the run
    long long freeClockSerial = -1;

    std::mutex mutex; // of everything below
    long long wakes = 0;
    bool quitting = false;

    // What is asked for.
    bool openingAsked = false;
    QString path;
    bool isSequence = false;
    long long budget;
    ColourSettings colours;
    bool coloursAsked = false; // until the pictures of the former ones are gone

    std::unique_ptr<Media> media;
    bool opening = false;      // until there is a picture or a sound to begin with, or the failure is known
    bool soundOpening = false; // the sound of a movie is opened once its first picture is there
    QString error;

    // The state of play.
    PlayClock clock;           // stands still while waiting
    long long clockSerial = 0; // counts settings of the clock other than by the sound output
    double speed = 0.0;
    bool forwards = true;
    bool waiting = false; // for what a new place begins with
    bool ended = false;
    int steps = 0;
    bool preview = false;
    long long previewUntil = 0;
    long long opened = 0;
    long long sought = 0;
    long long soughtAtOpening = 0;
    long long reported = 0; // position given out last: it never goes against the direction of play
    long long begunAt = 0;  // position at which the clock has begun to run, after a wait
    long long loopStart = 0;
    long long loopEnd = 0; // not after the start: no loop

    // Sound.
    double volume = 1.0;
    bool muted = false;
    double muteAboveSpeed;
    double drift = 0.0;

    // Pictures.
    PictureCache::Place shown;
    long long shownSought = -1;
    long long picturesShown = 0;
    long long picturesDropped = 0;

    std::thread thread; // last: it runs on all of the above
};
