#include "playback/PlayState.h"

#include "common/Microseconds.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double fastest = 16.0;
constexpr double loudest = 1000000.0;
constexpr int mostSteps = 1000000;
constexpr long long longestReport = secondUs / 2; // microseconds for which the sound output's last report counts
constexpr long long farAway = std::numeric_limits<long long>::max() / 4; // no position is beyond: sums stay small

double Finite(double value)
{
    return std::isnan(value) ? 0.0 : value;
}

} // namespace

void PlayState::Open(long long now)
{
    ++openSerial;
    speed = 0.0;
    forwards = true;
    loopStart = loopEnd = 0;
    drift = 0.0;
    Jump(0, now);
    untouched = true;
}

void PlayState::SetSpeed(double newSpeed, long long now)
{
    newSpeed = std::clamp(Finite(newSpeed), -fastest, fastest);
    bool const begins = speed == 0.0 || ended || (newSpeed > 0.0) != (speed > 0.0);
    Place(GetPosition(now), now);
    speed = newSpeed;
    ended = false;
    waiting = speed != 0.0 && (waiting || begins);
    if (speed != 0.0) {
        DropPiece();
        forwards = speed > 0.0;
        steps = 0;
        preview = false;
    }
    Run(waiting ? 0.0 : speed, now);
}

void PlayState::Step(int pictures, long long now)
{
    Place(GetPosition(now), now);
    speed = 0.0;
    Run(0.0, now);
    waiting = false;
    ended = false;
    preview = false;
    steps = std::clamp(steps + std::clamp(pictures, -mostSteps, mostSteps), -mostSteps, mostSteps);
}

void PlayState::Seek(long long time, long long now)
{
    Jump(std::clamp(time, -farAway, farAway), now);
}

void PlayState::SeekPreview(long long time, long long until, long long now)
{
    long long const former = GetPosition(now);
    Seek(time, now);
    preview = true;
    previewUntil = until;
    if (speed == 0.0 && reported != former)
        AskForPiece(reported, reported > former);
}

void PlayState::SetLoop(long long start, long long end)
{
    loopStart = std::clamp(start, -farAway, farAway);
    loopEnd = std::clamp(end, -farAway, farAway);
}

void PlayState::SetVolume(double newVolume)
{
    volume = std::clamp(Finite(newVolume), 0.0, loudest);
}

void PlayState::SetMuted(bool newMuted)
{
    muted = newMuted;
    if (muted)
        DropPiece();
}

void PlayState::SetScrubSound(bool on)
{
    scrubSound = on;
    if (!on)
        DropPiece();
}

void PlayState::SetMuteAboveSpeed(double newSpeed)
{
    muteAboveSpeed = Finite(newSpeed);
}

void PlayState::Advance(PlayRange const& range, long long now)
{
    if (untouched && range.startKnown) {
        Place(range.start, now);
        untouched = false;
    }
    if (preview && now >= previewUntil) {
        preview = false;
        ++wakeSerial;
    }
    long long const position = GetPosition(now);
    if (speed != 0.0)
        reported = position;
    long long const first = std::max(loopStart, range.start);
    long long const last = std::min(loopEnd, range.endKnown ? range.end : farAway) - 1;
    bool const loops = first <= last && speed != 0.0 && !ended;
    if (loops && speed > 0.0 && position > last)
        Jump(first, now);
    else if (loops && speed < 0.0 && position < first)
        Jump(last, now);
    else if (range.startKnown)
        KeepWithin(range, position, now);
}

void PlayState::KeepWithin(PlayRange const& range, long long position, long long now)
{
    if (range.endKnown && position >= range.end) {
        Place(range.end, now);
        ended = speed > 0.0;
    } else if (position < range.start || (position == range.start && speed < 0.0)) {
        Place(range.start, now);
        ended = speed < 0.0 && !waiting; // not before the first picture has been decoded
    }
    if (ended) {
        Run(0.0, now);
        waiting = false;
    }
}

void PlayState::Begin(long long now)
{
    waiting = false;
    Place(clock.GetPosition(now), now);
    begunAt = reported;
    heardUntil = notHeard;
    Run(speed, now);
}

void PlayState::MakeStep(long long start, bool isLast, long long now)
{
    if (!isLast)
        AskForPiece(start, steps > 0);
    Place(start, now);
    untouched = false;
    steps = isLast ? 0 : steps - (steps > 0 ? 1 : -1);
}

void PlayState::AskForPiece(long long position, bool isForwards)
{
    if (!scrubSound || muted)
        return;
    piece = {++pieceCount, position, isForwards};
    isPieceAwaited = true;
    ++wakeSerial;
}

void PlayState::DropPiece()
{
    piece = {};
    isPieceAwaited = false;
}

void PlayState::Follow(SoundReport const& report)
{
    if (report.clockSerial != clockSerial)
        return;
    clock.SetPosition(report.position, report.instant);
    drift = report.drift;
    heardUntil = report.instant + longestReport;
}

long long PlayState::GetPosition(long long now) const
{
    long long const position = clock.GetPosition(now);
    if (speed == 0.0)
        return position;
    return speed > 0.0 ? std::max(position, reported) : std::min(position, reported);
}

PlayNeed PlayState::GetNeed(long long now) const
{
    PlayNeed need;
    need.position = GetPosition(now);
    need.playing = speed != 0.0 && !ended;
    need.forwards = forwards;
    need.speed = clock.GetSpeed();
    need.steps = steps;
    need.preview = preview;
    need.needsSound = std::fabs(speed) <= muteAboveSpeed && !(preview && speed == 0.0);
    if (isPieceAwaited)
        need.piece = piece;
    need.openSerial = openSerial;
    need.seekSerial = seekSerial;
    return need;
}

SoundRun PlayState::GetSoundRun() const
{
    SoundRun run;
    run.seekSerial = seekSerial;
    run.speed = IsRunning() ? speed : 0.0;
    run.sounding = IsRunning() && !muted && std::fabs(speed) <= muteAboveSpeed;
    run.volume = volume;
    if (!IsRunning() && piece.serial != 0 && !isPieceAwaited) {
        run.piece = piece;
        run.speed = piece.forwards ? 1.0 : -1.0;
        run.sounding = true;
    }
    return run;
}

// At another place other pictures are needed: the decoding thread may have found nothing to do for the former one.
void PlayState::Place(long long position, long long now)
{
    if (position != clock.GetPosition(now)) {
        ++clockSerial;
        ++wakeSerial;
    }
    clock.SetPosition(static_cast<double>(position), now);
    reported = position;
}

void PlayState::Run(double clockSpeed, long long now)
{
    if (clockSpeed != clock.GetSpeed())
        ++clockSerial;
    clock.SetSpeed(clockSpeed, now);
}

void PlayState::Jump(long long position, long long now)
{
    Place(position, now);
    Run(0.0, now);
    waiting = speed != 0.0;
    ended = false;
    untouched = false;
    preview = false;
    steps = 0;
    DropPiece();
    ++seekSerial;
    ++wakeSerial;
}
