#include "playback/EngineCore.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "playback/TimeSource.h"
#include "source/Source.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

namespace {

constexpr long long second = 1000000;
constexpr double fastest = 16.0;

// Sound decoded ahead, in time of playing: below the first it comes before pictures while play runs, up to the second
// after them.
constexpr long long soundUrgent = second / 2;
constexpr long long soundAhead = 2 * second;

// With this much of it play begins, and with this much a caller who waits is told so.
constexpr long long soundToBegin = second / 5;
constexpr long long soundToWaitFor = second;

// While the clock runs, the decoding thread looks at least as often what is needed, because the sound output does not
// wake it: waking a thread takes a system call, after which the other may run first.
constexpr auto longestRest = std::chrono::milliseconds(10);

constexpr long long farAway =
    std::numeric_limits<long long>::max() / 4; // no position is beyond, so that sums stay small

constexpr long long mostBytes = 1LL << 40;
constexpr long long longestDelay = 3600 * second;
constexpr double loudest = 1000000.0;

double Finite(double value)
{
    return std::isnan(value) ? 0.0 : value;
}

// Blocks of sound are not asked for as evenly as they play: the clock that they set may fall back a little, which must
// not show.
long long Onwards(long long position, long long reported, double speed)
{
    if (speed == 0.0)
        return position;
    return speed > 0.0 ? std::max(position, reported) : std::min(position, reported);
}

// One sentence for the reader, without an allocation where there may be no memory.
QString TroubleOf(std::exception const& exception)
{
    QString noMemory = QStringLiteral("Memory has run out.");
    if (dynamic_cast<std::bad_alloc const*>(&exception))
        return noMemory;
    auto const* refusal = dynamic_cast<std::system_error const*>(&exception);
    bool const isThread = refusal && refusal->code() == std::errc::resource_unavailable_try_again;
    try {
        QString const what = QString::fromLocal8Bit(exception.what());
        return isThread ? QStringLiteral("A thread could not be started: %1.").arg(what)
                        : QStringLiteral("Decoding was broken off: %1.").arg(what);
    } catch (std::bad_alloc const&) {
        return noMemory;
    }
}

// Options come from programs and their users: what makes no sense is held to what does.
PlaybackOptions Sensible(PlaybackOptions options)
{
    bool const isRate = options.untimedRate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE &&
                        options.untimedRate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
    options.untimedRate = isRate ? options.untimedRate : PlaybackOptions().untimedRate;
    options.cacheBudget = std::clamp(options.cacheBudget, 0LL, mostBytes);
    options.muteAboveSpeed = Finite(options.muteAboveSpeed);
    options.previewRest = std::clamp(options.previewRest, 0LL, longestDelay);
    return options;
}

} // namespace

EngineCore::EngineCore(PlaybackOptions const& newOptions, std::shared_ptr<TimeSource const> newTimeSource)
    : options(Sensible(newOptions)),
      timeSource(newTimeSource ? std::move(newTimeSource) : std::make_shared<SteadyTimeSource>()),
      budget(options.cacheBudget),
      colours(options.colours),
      muteAboveSpeed(options.muteAboveSpeed),
      thread([this] { Run(); })
{}

EngineCore::~EngineCore()
{
    {
        std::lock_guard const lock(mutex);
        quitting = true;
        ++opened; // stops what is under way
        Wake();
    }
    thread.join();
}

// ---- Commands

void EngineCore::Open(QString const& newPath, bool newIsSequence)
{
    std::lock_guard const lock(mutex);
    path = newPath;
    isSequence = newIsSequence;
    openingAsked = true;
    opening = !path.isEmpty();
    soundOpening = false;
    error.clear();
    ++opened;
    speed = 0.0;
    forwards = true;
    loopEnd = loopStart = 0;
    shown = {};
    picturesShown = picturesDropped = 0;
    drift = 0.0;
    Jump(0, Now());
    soughtAtOpening = sought;
    LeaveOrder();
    Wake();
}

void EngineCore::Close()
{
    Open({}, false);
}

void EngineCore::SetSpeed(double newSpeed)
{
    std::lock_guard const lock(mutex);
    newSpeed = std::clamp(Finite(newSpeed), -fastest, fastest);
    long long const now = Now();
    Settle(now);
    bool const begins = speed == 0.0 || ended || (newSpeed > 0.0) != (speed > 0.0);
    PlaceAt(GetPosition(now), now);
    speed = newSpeed;
    if (speed != 0.0) {
        forwards = speed > 0.0;
        steps = 0;
        ended = false;
        waiting = waiting || begins;
        preview = false;
    } else {
        waiting = false;
    }
    RunClock(waiting ? 0.0 : speed, now);
    Settle(now);
    Wake();
}

void EngineCore::Step(int pictures)
{
    std::lock_guard const lock(mutex);
    long long const now = Now();
    Settle(now);
    PlaceAt(GetPosition(now), now);
    speed = 0.0;
    RunClock(0.0, now);
    waiting = false;
    ended = false;
    preview = false;
    constexpr int most = 1000000;
    steps = std::clamp(steps + std::clamp(pictures, -most, most), -most, most);
    Settle(now);
    Wake();
}

void EngineCore::Seek(long long time, bool isPreview)
{
    std::lock_guard const lock(mutex);
    long long const now = Now();
    Jump(std::clamp(time, -farAway, farAway), now);
    preview = isPreview;
    previewUntil = now + options.previewRest;
    Settle(now);
    Wake();
}

void EngineCore::SetLoop(long long start, long long end)
{
    std::lock_guard const lock(mutex);
    loopStart = std::clamp(start, -farAway, farAway);
    loopEnd = std::clamp(end, -farAway, farAway);
    Wake();
}

void EngineCore::SetVolume(double newVolume)
{
    std::lock_guard const lock(mutex);
    volume = std::clamp(Finite(newVolume), 0.0, loudest);
    Settle(Now());
}

void EngineCore::SetMuted(bool newMuted)
{
    std::lock_guard const lock(mutex);
    muted = newMuted;
    Settle(Now());
}

void EngineCore::SetMuteAboveSpeed(double newSpeed)
{
    std::lock_guard const lock(mutex);
    muteAboveSpeed = Finite(newSpeed);
    Settle(Now());
    Wake();
}

void EngineCore::SetCacheBudget(long long bytes)
{
    std::lock_guard const lock(mutex);
    budget = std::clamp(bytes, 0LL, mostBytes);
    Wake();
}

void EngineCore::SetColours(ColourSettings const& newColours)
{
    std::lock_guard const lock(mutex);
    if (colours == newColours)
        return;
    colours = newColours;
    coloursAsked = true;
    Wake();
}

// ---- What the display and the output take

std::shared_ptr<DecodedVideoFrame const> EngineCore::GetPicture()
{
    std::lock_guard const lock(mutex);
    long long const now = Now();
    Settle(now);
    if (opening || !media || !media->pictures)
        return nullptr;
    if (speed != 0.0)
        Wake(); // the time that goes by makes room for more
    PictureCache::Place const place = FindPicture(now);
    PictureCache::Picture const picture = place.picture ? place.picture : media->pictures->GetPreview(sought);
    if (picture && picture != shown.picture)
        ShowPicture(place.picture ? place : PictureCache::Place{picture, picture->startTime, picture->startTime});
    return shown.picture;
}

// While play goes on and decoding is behind, the newest picture that play has come past.
PictureCache::Place EngineCore::FindPicture(long long now)
{
    long long const position = GetPosition(now);
    PictureCache::Place exact = media->pictures->Find(position, 0); // also before the first and after the last
    if (speed == 0.0 || waiting || exact.picture)
        return exact;
    PictureCache::Place const place = media->pictures->FindNewest(position, forwards);
    bool const isOfThisRun = forwards ? place.end >= begunAt : place.start <= begunAt;
    bool const isOlder =
        shown.picture && shownSought == sought && (forwards ? place.start < shown.start : place.start > shown.start);
    return isOfThisRun && !isOlder ? place : PictureCache::Place();
}

void EngineCore::ShowPicture(PictureCache::Place const& place)
{
    bool const goesOn = shown.picture && shownSought == sought && speed != 0.0;
    if (goesOn)
        picturesDropped += CountBetween(shown, place);
    ++picturesShown;
    shown = place;
    shownSought = sought;
}

// Pictures between two; an estimate when some of them have not been decoded or are gone.
long long EngineCore::CountBetween(PictureCache::Place const& one, PictureCache::Place const& other) const
{
    PictureCache::Place const& earlier = one.start < other.start ? one : other;
    PictureCache::Place const& later = one.start < other.start ? other : one;
    if (earlier.end + 1 >= later.start)
        return 0;
    int const cached = media->pictures->CountBetween(earlier.start, later.start);
    if (cached >= 0)
        return cached;
    return std::max((later.start - earlier.end) / std::max(media->source.GetFrameStep(), 1LL), 1LL);
}

int EngineCore::FillAudio(short* buffer, int frames, long long delay)
{
    orders.Update();
    SoundOrder const& order = orders.Get();
    if (!order.output || !buffer || frames <= 0)
        return 0;
    long long const now = Now();
    bool const goesOn = order.run.speed != 0.0 && order.output->Follows(order.run);
    if (!goesOn || order.clockSerial != freeClockSerial) {
        freeClock = order.clock;
        freeClockSerial = order.clockSerial;
    }
    if (goesOn)
        ReportSound(order, now, delay);
    SoundRun run = order.run;
    run.position = Onwards(order.clock.GetPosition(now), order.reported, run.speed) + order.origin;
    order.output->Fill(buffer, frames, run);
    return frames;
}

// What has been handed out tells where play is, and where it will be heard.
void EngineCore::ReportSound(SoundOrder const& order, long long now, long long delay)
{
    SoundReport report;
    report.clockSerial = order.clockSerial;
    report.position = order.output->GetPosition() - static_cast<double>(order.origin);
    report.instant = now + std::clamp(delay, 0LL, longestDelay);
    report.drift = report.position - static_cast<double>(freeClock.GetPosition(now));
    reports.Write(report);
}

PlaybackStatus EngineCore::GetStatus()
{
    std::lock_guard const lock(mutex);
    long long const now = Now();
    Settle(now);
    PlaybackStatus status;
    status.state = GetState();
    status.path = path;
    status.error = error;
    status.position = GetPosition(now);
    status.speed = speed;
    status.waiting = waiting;
    status.cacheBudget = budget;
    status.picturesShown = picturesShown;
    status.picturesDropped = picturesDropped;
    status.drift = drift;
    if (media && !opening)
        FillStatusOfMedia(status);
    // The ends of what is still opening, or has only just been read to its end, have not been heeded yet.
    long long const end = status.durationKnown ? status.start + status.duration : farAway;
    status.position = std::clamp(status.position, status.start, std::max(status.start, end));
    return status;
}

void EngineCore::FillStatusOfMedia(PlaybackStatus& status) const
{
    status.kind = media->kind;
    status.start = GetStart();
    status.duration = std::max(GetEnd() - GetStart(), 0LL);
    status.durationKnown = IsEndKnown();
    status.width = media->width;
    status.height = media->height;
    status.frameRate = media->pictures ? media->source.GetFrameRate() : 0.0;
    status.frameStep = media->pictures ? media->source.GetFrameStep() : 0;
    if (media->pictures) {
        PictureCache::Span const span = media->pictures->GetSpan();
        status.cacheStart = span.start;
        status.cacheEnd = span.end;
        status.cachedBytes = span.bytes;
        status.cacheBudget = span.budget;
        status.picturesDecoded = media->pictures->GetDecodedCount();
        status.decodeRate = media->pictures->GetDecodeRate();
        status.colours = media->pictures->DescribeColours();
        if (status.error.isEmpty())
            status.error = media->pictures->GetError();
    }
    if (media->sound) {
        status.channels = media->sound->GetOutput()->GetChannelCount();
        status.sampleRate = media->sound->GetOutput()->GetSampleRate();
        status.soundInfo = media->source.GetInfo();
        status.origin = media->sound->GetOrigin();
        media->sound->GetSpan(forwards, status.soundStart, status.soundEnd);
    }
}

PlaybackState EngineCore::GetState() const
{
    if (opening)
        return PlaybackState::Opening;
    if (!media)
        return PlaybackState::Closed;
    if (ended)
        return PlaybackState::Ended;
    return speed == 0.0 ? PlaybackState::Paused : PlaybackState::Playing;
}

bool EngineCore::WaitUntilReady(int milliseconds)
{
    auto const until = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(milliseconds, 0));
    Lock lock(mutex);
    for (bool isFirst = true;; isFirst = false) {
        long long const now = Now();
        Settle(now);
        bool const isOpen = !opening && !openingAsked && !soundOpening;
        if (isOpen && (!media || (IsReady(now, soundToWaitFor) && IsBudgetHeeded())))
            return true;
        if (isFirst)
            Wake(); // who waits may be the only one who looks, and time has gone by
        if (progress.wait_until(lock, until) == std::cv_status::timeout)
            return false;
    }
}

// ---- The state of play

long long EngineCore::Now() const
{
    return timeSource->GetTime();
}

void EngineCore::Wake()
{
    ++wakes;
    wake.notify_one();
}

PlayNeed EngineCore::GetNeed(long long now)
{
    TakeReport();
    PlayNeed need;
    need.position = GetPosition(now);
    need.playing = speed != 0.0 && !ended;
    need.forwards = forwards;
    need.speed = clock.GetSpeed();
    need.steps = steps;
    need.preview = preview;
    need.hushed = std::fabs(speed) > muteAboveSpeed || (preview && speed == 0.0);
    need.budget = budget;
    need.opened = opened;
    need.sought = sought;
    return need;
}

// Never goes against the direction of play.
long long EngineCore::GetPosition(long long now)
{
    long long const position = Onwards(clock.GetPosition(now), reported, speed);
    if (speed != 0.0)
        reported = position;
    return position;
}

// Elsewhere, something else is needed; the decoding thread may have found nothing to do for the former place.
void EngineCore::PlaceAt(long long position, long long now)
{
    if (position != clock.GetPosition(now)) {
        ++clockSerial;
        Wake();
    }
    clock.SetPosition(static_cast<double>(position), now);
    reported = position;
}

void EngineCore::RunClock(double newSpeed, long long now)
{
    if (newSpeed != clock.GetSpeed())
        ++clockSerial;
    clock.SetSpeed(newSpeed, now);
}

void EngineCore::Jump(long long position, long long now)
{
    PlaceAt(position, now);
    RunClock(0.0, now);
    waiting = speed != 0.0;
    ended = false;
    preview = false;
    steps = 0;
    ++sought;
    Wake();
}

// What has come about since somebody looked last.
void EngineCore::Settle(long long now)
{
    TakeReport();
    if (!opening && media)
        SettlePlay(now);
    LeaveOrder();
}

void EngineCore::SettlePlay(long long now)
{
    if (preview && now >= previewUntil) {
        preview = false;
        Wake();
    }
    TakeSteps(now);
    KeepWithinMedia(now);
    if (waiting && !soundOpening && IsReady(now, soundToBegin)) {
        waiting = false;
        PlaceAt(clock.GetPosition(now), now);
        begunAt = reported;
        RunClock(speed, now);
    }
}

void EngineCore::TakeReport()
{
    if (!reports.Update() || reports.Get().clockSerial != clockSerial)
        return;
    clock.SetPosition(reports.Get().position, reports.Get().instant);
    drift = reports.Get().drift;
}

void EngineCore::LeaveOrder()
{
    SoundOrder order;
    if (!opening && media && media->sound) {
        bool const runs = speed != 0.0 && !waiting && !ended;
        order.output = media->sound->GetOutput();
        order.origin = media->sound->GetOrigin();
        order.run.sought = sought;
        order.run.speed = runs ? speed : 0.0;
        order.run.sounding = runs && !muted && std::fabs(speed) <= muteAboveSpeed;
        order.run.volume = volume;
        order.clock = clock;
        order.reported = reported;
        order.clockSerial = clockSerial;
    }
    orders.Write(std::move(order));
}

void EngineCore::TakeSteps(long long now)
{
    while (steps != 0 && media->pictures) {
        int const direction = steps > 0 ? 1 : -1;
        PictureCache::Place const current = media->pictures->Find(clock.GetPosition(now), 0);
        if (!current.picture)
            return;
        bool const isAtEnd = steps > 0 ? media->pictures->IsLast(current) : media->pictures->IsFirst(current);
        PictureCache::Place const next = media->pictures->Find(current.start, direction);
        if (!isAtEnd && !next.picture)
            return;
        PlaceAt(next.picture && !isAtEnd ? next.start : current.start, now);
        steps = isAtEnd ? 0 : steps - direction;
    }
    steps = media->pictures ? steps : 0;
}

void EngineCore::KeepWithinMedia(long long now)
{
    long long const position = GetPosition(now);
    long long const first = std::max(loopStart, GetStart());
    long long const last = std::min(loopEnd, IsEndKnown() ? GetEnd() : farAway) - 1;
    bool const loops = first <= last && speed != 0.0 && !ended;
    if (loops && speed > 0.0 && position > last) {
        Jump(first, now);
    } else if (loops && speed < 0.0 && position < first) {
        Jump(last, now);
    } else if (!soundOpening) { // it may begin earlier
        KeepWithinEnds(position, now);
    }
    if (ended) {
        RunClock(0.0, now);
        waiting = false;
    }
}

void EngineCore::KeepWithinEnds(long long position, long long now)
{
    if (IsEndKnown() && position >= GetEnd()) {
        PlaceAt(GetEnd(), now);
        ended = speed > 0.0;
    } else if (position < GetStart() || (position == GetStart() && speed < 0.0)) {
        PlaceAt(GetStart(), now);
        ended = speed < 0.0 && !waiting; // not before the first picture is there
    }
}

bool EngineCore::IsReady(long long now, long long soundAheadNeeded)
{
    PlayNeed const need = GetNeed(now);
    bool const hasPicture = !media->pictures || (steps == 0 && !coloursAsked && media->pictures->IsReady(need));
    return hasPicture && (!media->sound || media->sound->HasSound(need, soundAheadNeeded));
}

bool EngineCore::IsBudgetHeeded() const
{
    return !media->pictures || media->pictures->GetSpan().budget == budget;
}

bool EngineCore::IsEndKnown() const
{
    return !soundOpening && (!media->pictures || media->pictures->GetEnd() >= 0) &&
           (!media->sound || media->sound->IsEndKnown());
}

long long EngineCore::GetStart() const
{
    return media->sound ? std::min(media->sound->GetStart(), 0LL) : 0;
}

// The later one of the pictures' and the sound's. As long as that is not known, as the container says.
long long EngineCore::GetEnd() const
{
    if (media->kind == SourceKind::Still)
        return 0;
    long long end = 0;
    if (media->pictures)
        end = std::max(end, media->pictures->GetEnd());
    if (media->sound && media->sound->IsEndKnown())
        end = std::max(end, media->sound->GetEnd());
    return IsEndKnown() ? end : std::max(end, media->source.GetDuration());
}

// ---- The decoding thread

void EngineCore::Run()
{
    AskNeed const ask = [this] {
        std::lock_guard const lock(mutex);
        return GetNeed(Now());
    };
    Lock lock(mutex);
    while (!quitting) {
        long long seen = wakes;
        bool worked = false;
        try {
            HandleOpening(lock);
            seen = wakes;
            worked = media && !opening && WorkOnce(lock, ask);
        } catch (std::exception const& exception) {
            GiveUp(lock, TroubleOf(exception));
        }
        progress.notify_all();
        auto const isDue = [&] { return worked || quitting || wakes != seen; };
        if (clock.GetSpeed() != 0.0)
            wake.wait_for(lock, longestRest, isDue);
        else
            wake.wait(lock, isDue);
    }
    lock.unlock();
    media.reset();
}

// One piece of work, done without the lock.
bool EngineCore::WorkOnce(Lock& lock, AskNeed const& ask)
{
    if (coloursAsked)
        ChangeColours(lock);
    Settle(Now());
    PlayNeed const need = GetNeed(Now());
    lock.unlock();
    bool const worked = Feed(*media, need, ask);
    lock.lock();
    Settle(Now());
    return worked;
}

// Without the lock, as pictures of a sequence may be under way; whoever waits sees it as asked until it is done.
void EngineCore::ChangeColours(Lock& lock)
{
    ColourSettings const asked = colours;
    lock.unlock();
    if (media->pictures)
        media->pictures->SetColours(asked);
    lock.lock();
    coloursAsked = colours != asked;
}

// What was interrupted cannot be trusted any more.
void EngineCore::GiveUp(Lock& lock, QString const& trouble)
{
    if (!lock.owns_lock())
        lock.lock();
    auto former = std::move(media);
    if (!openingAsked) {
        opening = soundOpening = false;
        error = trouble;
    }
    LeaveOrder();
    lock.unlock();
    LetGo(std::move(former));
    lock.lock();
}

// While the clock runs, the sound that is heard next comes first. While it stands still nobody hears any, and the
// picture to show comes first.
bool EngineCore::Feed(Media& fed, PlayNeed const& need, AskNeed const& ask)
{
    auto const workOnPictures = [&] { return fed.pictures && fed.pictures->Work(need, ask); };
    auto const workOnSound = [&](long long ahead) { return fed.sound && fed.sound->Work(need, ask, ahead); };
    bool const runs = need.speed != 0.0;
    bool const isPictureAwaited = fed.pictures && (need.steps != 0 || !fed.pictures->IsReady(need));
    return (!runs && isPictureAwaited && workOnPictures()) || workOnSound(runs ? soundUrgent : soundToWaitFor) ||
           workOnPictures() || workOnSound(soundAhead);
}

void EngineCore::HandleOpening(Lock& lock)
{
    while (openingAsked && !quitting) {
        openingAsked = false;
        auto former = std::move(media);
        QString const asked = path;
        bool const askedSequence = isSequence;
        LeaveOrder();
        lock.unlock();
        LetGo(std::move(former));
        lock.lock();
        if (!asked.isEmpty() && !openingAsked)
            OpenMedia(lock, asked, askedSequence);
    }
}

// First the pictures, which are there to be shown at once; then the sound.
void EngineCore::OpenMedia(Lock& lock, QString const& asked, bool askedSequence)
{
    long long const serial = opened;
    StopCheck const stop = [this, serial] {
        std::lock_guard const inner(mutex);
        return opened != serial;
    };
    PlaybackOptions now = options;
    now.colours = colours;
    coloursAsked = false;
    lock.unlock();
    Source source = askedSequence ? Source::OpenSequence(asked, now) : Source::Open(asked, now);
    bool const wantsSound = source.HasSound() && options.withSound && AvGlobals::maxAudioOutputChannels > 0;
    QString trouble;
    auto made = MakeMedia(std::move(source), trouble, stop);
    bool const soundFirst = made && !made->pictures;
    if (soundFirst && wantsSound)
        made->sound = MakeSound(*made, stop);
    if (soundFirst && !made->sound) {
        trouble = QStringLiteral("The sound of \"%1\" cannot be decoded.").arg(asked);
        made.reset();
    }
    lock.lock();
    if (opened != serial) {
        lock.unlock();
        LetGo(std::move(made));
        lock.lock();
        return;
    }
    media = std::move(made);
    error = trouble;
    opening = false;
    soundOpening = media && wantsSound && !soundFirst;
    LeaveOrder();
    if (!soundOpening)
        return;

    progress.notify_all();
    lock.unlock();
    auto sound = MakeSound(*media, stop);
    lock.lock();
    if (opened != serial)
        return; // the sound dies here, and the rest with the next opening
    media->sound = std::move(sound);
    soundOpening = false;
    if (sought == soughtAtOpening)
        PlaceAt(GetStart(), Now()); // before the first picture, where the sound begins earlier
    LeaveOrder();
}

std::unique_ptr<EngineCore::Media> EngineCore::MakeMedia(Source source, QString& trouble, StopCheck const& stop)
{
    trouble = source.GetError();
    if (source.GetKind() == SourceKind::None)
        return nullptr;
    auto made = std::make_unique<Media>();
    made->kind = source.GetKind();
    made->source = std::move(source);
    if (made->source.HasSound() && (!options.withPictures || !made->source.HasPictures())) {
        made->kind = SourceKind::Sound;
        return made;
    }
    auto pictures = made->source.OpenPictures(stop);
    long long newBudget = 0;
    {
        std::lock_guard const lock(mutex);
        newBudget = budget;
    }
    if (pictures)
        made->pictures = std::make_unique<PictureFeeder>(std::move(pictures), made->source.GetFrameStep(), newBudget);
    if (made->pictures && made->pictures->Begin(stop)) {
        PictureCache::Picture const first = made->pictures->Find(0, 0).picture;
        made->width = made->source.GetWidth() > 0 ? made->source.GetWidth() : first->width;
        made->height = made->source.GetHeight() > 0 ? made->source.GetHeight() : first->height;
        return made;
    }
    made->pictures.reset();
    if (made->kind != SourceKind::SoundWithCover)
        trouble = QStringLiteral("No picture of it can be decoded.");
    if (!made->source.HasSound())
        return nullptr;
    made->kind = SourceKind::Sound;
    return made;
}

std::unique_ptr<SoundFeeder> EngineCore::MakeSound(Media const& of, StopCheck const& stop)
{
    auto stream = of.source.OpenSound();
    if (!stream)
        return nullptr;
    auto sound = std::make_unique<SoundFeeder>(std::move(stream), of.pictures ? of.pictures->GetOrigin() : 0);
    return sound->Begin(stop) ? std::move(sound) : nullptr;
}

// The output thread may still be filling a block from what goes: no sound is freed there, nor under the lock.
void EngineCore::LetGo(std::unique_ptr<Media> former)
{
    if (former && former->sound)
        former->sound->GetOutput()->Clear();
}
