#include "playback/PlaybackEngine.h"

#include "common/Microseconds.h"
#include "decode/DecodedVideoFrame.h"
#include "playback/DecodingThread.h"
#include "playback/SoundLink.h"
#include "playback/TimeSource.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace {

// Microseconds of decoded sound that play needs to begin, and that WaitUntilReady waits for.
constexpr long long soundToBegin = secondUs / 5;
constexpr long long soundToWaitFor = secondUs;

constexpr long long mostBytes = 1LL << 40;
constexpr long long longestPreviewRest = 3600 * secondUs;

long long SensibleBudget(long long bytes)
{
    return std::clamp(bytes, 0LL, mostBytes);
}

// Options can come from users: invalid ones are clamped or replaced by the default.
PlaybackOptions Sensible(PlaybackOptions options)
{
    bool const isRate = options.untimedRate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE &&
                        options.untimedRate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
    options.untimedRate = isRate ? options.untimedRate : PlaybackOptions().untimedRate;
    options.cacheBudget = SensibleBudget(options.cacheBudget);
    options.previewRest = std::clamp(options.previewRest, 0LL, longestPreviewRest);
    return options;
}

// What is on show, and how many pictures have been.
struct Display
{
    // The picture for now; while that is not decoded, the newest one that play has passed, or a preview, or the one
    // shown last.
    PictureCache::Picture Show(PictureFeeder const& pictures, PlayState const& state, long long now)
    {
        bool const goesOn = shown.picture && shownSerial == state.seekSerial;
        PictureCache::Place place = Find(pictures, state, now, goesOn);
        if (!place.picture && (place.picture = pictures.GetPreview(state.seekSerial)))
            place.start = place.end = place.picture->startTime;
        if (!place.picture || place.picture == shown.picture)
            return shown.picture;
        if (goesOn && state.speed != 0.0)
            droppedCount += pictures.CountBetween(shown, place);
        ++shownCount;
        shown = place;
        shownSerial = state.seekSerial;
        return shown.picture;
    }

    PictureCache::Place Find(PictureFeeder const& pictures, PlayState const& state, long long now, bool goesOn) const
    {
        long long const position = state.GetPosition(now);
        PictureCache::Place exact = pictures.Find(position, 0); // also before the first and after the last
        if (state.speed == 0.0 || state.waiting || exact.picture)
            return exact;
        PictureCache::Place const place = pictures.FindNewest(position, state.forwards);
        bool const isOfThisRun = state.forwards ? place.end >= state.begunAt : place.start <= state.begunAt;
        bool const isOlder = goesOn && (state.forwards ? place.start < shown.start : place.start > shown.start);
        return isOfThisRun && !isOlder ? place : PictureCache::Place();
    }

    // Of the sound that is heard from the picture on show; see PlaybackStatus.
    std::optional<long long> SoundOffset(PlayState const& state, long long now) const
    {
        if (!state.IsHeard(now) || !shown.picture || shownSerial != state.seekSerial)
            return std::nullopt;
        long long const heard = state.clock.GetPosition(now);
        long long const offset = heard - std::clamp(heard, shown.start, shown.end);
        return state.forwards ? offset : -offset;
    }

    PictureCache::Place shown;
    long long shownSerial = -1; // PlayState::seekSerial of it
    long long shownCount = 0;
    long long droppedCount = 0;           // that play has passed over
    std::optional<long long> soundOffset; // as of the last look
};

} // namespace

// The state of play, which every thread may change under one short lock, and the decoding thread, which looks at that
// state before each piece of work.
//
//     any thread          PlayState: clock, speed, loop, steps...        changes take effect at once
//         | wakes                 ^ asks
//     decoding thread     PictureFeeder -> PictureCache        SoundFeeder -> SoundOutput
//                                               |                                 |
//     display, output                      GetPicture                         FillAudio
//
// A command only changes the state. Changes by play itself are applied by the next call of any thread.
struct EngineParts
{
    EngineParts(PlaybackOptions const& newOptions, std::shared_ptr<TimeSource const> newTimeSource)
        : options(Sensible(newOptions)),
          timeSource(newTimeSource ? std::move(newTimeSource) : std::make_shared<SteadyTimeSource>()),
          budget(options.cacheBudget),
          colours(options.colours),
          thread(
              options, mutex, state, [this] { return AskNeed(); }, [this] { LeaveOrder(); })
    {
        Command([this](long long) {
            state.SetMuteAboveSpeed(options.muteAboveSpeed);
            state.SetScrubSound(options.scrubSound);
        });
    }

    // Changes the state of play at the present moment.
    template <typename Change>
    void Command(Change const& change)
    {
        std::lock_guard const lock(mutex);
        change(Settle());
        Settle();
        Wake();
    }

    void Open(MediaItem const& item)
    {
        Command([&](long long now) {
            state.Open(now);
            display = {};
            thread.Open(item);
        });
    }

    PlayNeed AskNeed()
    {
        std::lock_guard const lock(mutex);
        return GetNeed(Settle());
    }

    // ---- Under the lock

    void Wake()
    {
        ++state.wakeSerial;
        thread.Notify();
    }

    // Applies what play has done since the last call; returns the present instant.
    long long Settle()
    {
        long long const now = timeSource->GetTime();
        long long const seen = state.wakeSerial;
        soundLink.TakeReport(state);
        if (MediaFeed const* media = thread.GetMedia()) {
            MakeSteps(media->pictures.get(), now);
            state.Advance(media->GetRange(), now);
            SettlePiece(*media);
            if (state.waiting && !media->soundPending && media->IsReady(GetNeed(now), soundToBegin))
                state.Begin(now);
        }
        LeaveOrder();
        if (state.wakeSerial != seen)
            thread.Notify();
        return now;
    }

    void SettlePiece(MediaFeed const& media)
    {
        if (!state.isPieceAwaited)
            return;
        if (media.sound && media.sound->HasPiece(state.piece))
            state.StartPiece();
        else if (!media.sound && !media.soundPending)
            state.DropPiece();
    }

    // Makes the steps to pictures that are cached.
    void MakeSteps(PictureFeeder const* pictures, long long now)
    {
        if (!pictures)
            state.steps = 0;
        while (state.steps != 0) {
            PictureCache::Place const current = pictures->Find(state.GetPosition(now), 0);
            if (!current.picture)
                return;
            bool const isLast = state.steps > 0 ? pictures->IsLast(current) : pictures->IsFirst(current);
            PictureCache::Place const next = pictures->Find(current.start, state.steps > 0 ? 1 : -1);
            if (!isLast && !next.picture)
                return;
            state.MakeStep(isLast ? current.start : next.start, isLast, now);
        }
    }

    void LeaveOrder()
    {
        MediaFeed const* media = thread.GetMedia();
        if (media && media->sound)
            soundLink.Leave(state, media->sound->GetOutput(), media->sound->GetOrigin());
        else
            soundLink.Leave(state, nullptr, 0);
    }

    PlayNeed GetNeed(long long now) const
    {
        PlayNeed need = state.GetNeed(now);
        need.budget = budget;
        need.colours = colours;
        return need;
    }

    bool IsReady(long long now) const
    {
        MediaFeed const* media = thread.GetMedia();
        if (thread.IsBusy() || !media)
            return !thread.IsBusy();
        bool const isBudgetHeeded = !media->pictures || media->pictures->GetSpan().budget == budget;
        return isBudgetHeeded && !state.isPieceAwaited && media->IsReady(GetNeed(now), soundToWaitFor);
    }

    PlaybackState GetPlaybackState() const
    {
        if (!thread.GetMedia())
            return thread.IsOpening() ? PlaybackState::Opening : PlaybackState::Closed;
        if (state.ended)
            return PlaybackState::Ended;
        return state.speed == 0.0 ? PlaybackState::Paused : PlaybackState::Playing;
    }

    PlaybackOptions const options;
    std::shared_ptr<TimeSource const> const timeSource;
    SoundLink soundLink; // its output's side needs no lock
    std::mutex mutex;    // of everything below
    PlayState state;
    Display display;
    long long budget;
    ColourSettings colours;
    DecodingThread thread; // last: it asks all of the above
};

PlaybackEngine::PlaybackEngine(PlaybackOptions const& options) : PlaybackEngine(options, nullptr) {}

PlaybackEngine::PlaybackEngine(PlaybackOptions const& options, std::shared_ptr<TimeSource const> timeSource)
    : parts(std::make_unique<EngineParts>(options, std::move(timeSource)))
{}

PlaybackEngine::~PlaybackEngine() = default;

void PlaybackEngine::Open(QString const& path)
{
    parts->Open({path});
}

void PlaybackEngine::OpenSequence(QString const& path)
{
    parts->Open({path, /*isSequence=*/true});
}

void PlaybackEngine::SetSpeed(double speed)
{
    parts->Command([&](long long now) { parts->state.SetSpeed(speed, now); });
}

void PlaybackEngine::Step(int pictures)
{
    parts->Command([&](long long now) { parts->state.Step(pictures, now); });
}

void PlaybackEngine::Seek(long long time)
{
    parts->Command([&](long long now) { parts->state.Seek(time, now); });
}

void PlaybackEngine::SeekPreview(long long time)
{
    parts->Command([&](long long now) { parts->state.SeekPreview(time, now + parts->options.previewRest, now); });
}

void PlaybackEngine::SetLoop(long long start, long long end)
{
    parts->Command([&](long long) { parts->state.SetLoop(start, end); });
}

void PlaybackEngine::SetSoundStream(int number)
{
    parts->Command([&](long long) { parts->thread.ChangeSound(number); });
}

void PlaybackEngine::SetVolume(double volume)
{
    parts->Command([&](long long) { parts->state.SetVolume(volume); });
}

void PlaybackEngine::SetMuted(bool muted)
{
    parts->Command([&](long long) { parts->state.SetMuted(muted); });
}

void PlaybackEngine::SetMuteAboveSpeed(double speed)
{
    parts->Command([&](long long) { parts->state.SetMuteAboveSpeed(speed); });
}

void PlaybackEngine::SetScrubSound(bool on)
{
    parts->Command([&](long long) { parts->state.SetScrubSound(on); });
}

void PlaybackEngine::SetCacheBudget(long long bytes)
{
    parts->Command([&](long long) { parts->budget = SensibleBudget(bytes); });
}

void PlaybackEngine::SetColours(ColourSettings const& colours)
{
    parts->Command([&](long long) { parts->colours = colours; });
}

std::shared_ptr<DecodedVideoFrame const> PlaybackEngine::GetPicture()
{
    std::lock_guard const lock(parts->mutex);
    long long const now = parts->Settle();
    MediaFeed const* media = parts->thread.GetMedia();
    if (!media || !media->pictures)
        return nullptr;
    if (parts->state.speed != 0.0)
        parts->Wake(); // the time that goes by makes room for more
    auto picture = parts->display.Show(*media->pictures, parts->state, now);
    parts->display.soundOffset = parts->display.SoundOffset(parts->state, now);
    return picture;
}

int PlaybackEngine::FillAudio(short* buffer, int frames, long long delay)
{
    return parts->soundLink.Fill(buffer, frames, delay, *parts->timeSource);
}

PlaybackStatus PlaybackEngine::GetStatus()
{
    std::lock_guard const lock(parts->mutex);
    long long const now = parts->Settle();
    PlayState const& state = parts->state;
    PlaybackStatus status;
    status.state = parts->GetPlaybackState();
    status.path = parts->thread.GetPath();
    status.error = parts->thread.GetError();
    status.position = state.GetPosition(now);
    status.speed = state.speed;
    status.waiting = state.waiting;
    status.volume = state.volume;
    status.muted = state.muted;
    status.cacheBudget = parts->budget;
    status.isSoundChanging = parts->thread.IsSoundChanging();
    status.picturesShown = parts->display.shownCount;
    status.picturesDropped = parts->display.droppedCount;
    status.drift = state.drift;
    if (state.IsHeard(now))
        status.soundOffset = parts->display.soundOffset;
    if (MediaFeed const* media = parts->thread.GetMedia())
        media->FillStatus(status, state.forwards);
    // The ends of what is still opening, or has only just been read to its end, have not been heeded yet.
    status.position = std::max(status.position, status.start);
    if (status.durationKnown)
        status.position = std::min(status.position, status.start + status.duration);
    return status;
}

bool PlaybackEngine::WaitUntilReady(int milliseconds)
{
    auto const until = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(milliseconds, 0));
    std::unique_lock lock(parts->mutex);
    for (bool isFirst = true;; isFirst = false) {
        if (parts->IsReady(parts->Settle()))
            return true;
        if (isFirst)
            parts->Wake(); // the waiting caller may be the only one, and time has passed
        if (!parts->thread.WaitForProgress(lock, until))
            return false;
    }
}
