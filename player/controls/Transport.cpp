#include "player/controls/Transport.h"

#include "common/Microseconds.h"
#include "playback/PlaybackEngine.h"
#include "source/PictureIndex.h"
#include "source/Search.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double maxSpeed = 16.0;
constexpr double minSpeed = 0.05;
constexpr double speedStep = 0.1;
constexpr double volumeStep = 0.05;

// A still image is always at its end, and yet plays until it is paused: the time for which it stays goes by.
bool IsPlaying(PlaybackStatus const& status)
{
    bool const hasEnded = status.state == PlaybackState::Ended && status.kind != SourceKind::Still;
    return status.speed != 0.0 && !hasEnded && status.state != PlaybackState::Closed;
}

// Of a file that does not tell its length, far away until it is known: the engine finds the end when it is sought.
long long EndOf(PlaybackStatus const& status)
{
    bool const isUntold = status.duration <= 0 && !status.durationKnown;
    return isUntold ? Search::farAway : status.start + status.duration;
}

// The first picture, or the first sound if there are no pictures.
long long FirstTime(PlaybackStatus const& status)
{
    return status.width > 0 ? std::max(0LL, status.start) : status.start;
}

} // namespace

Transport::Transport(PlaybackEngine& engine) : engine(engine) {}

bool Transport::Perform(PlayerAction action)
{
    return PerformSpeed(action) || PerformMove(action) || PerformRange(action) || PerformSound(action);
}

bool Transport::PerformSpeed(PlayerAction action)
{
    double const speed = IsPlaying(engine.GetStatus()) ? engine.GetStatus().speed : chosenSpeed;
    double const direction = speed < 0.0 ? -1.0 : 1.0;
    switch (action) {
    case PlayerAction::PlayPause:
        if (IsPlaying(engine.GetStatus()))
            engine.Pause();
        else
            Play();
        return true;
    case PlayerAction::ShuttleBackwards:
        Shuttle(/*forwards=*/false);
        return true;
    case PlayerAction::ShuttlePause:
        engine.Pause();
        return true;
    case PlayerAction::ShuttleForwards:
        Shuttle(/*forwards=*/true);
        return true;
    case PlayerAction::Slower:
        SetSpeed(direction * std::max(std::abs(speed) - speedStep, std::min(speedStep, std::abs(speed))));
        return true;
    case PlayerAction::Faster:
        SetSpeed(speed + direction * speedStep);
        return true;
    case PlayerAction::HalveSpeed:
        SetSpeed(speed / 2.0);
        return true;
    case PlayerAction::DoubleSpeed:
        SetSpeed(speed * 2.0);
        return true;
    case PlayerAction::ResetSpeed:
        SetSpeed(1.0);
        return true;
    default:
        return false;
    }
}

bool Transport::PerformMove(PlayerAction action)
{
    switch (action) {
    case PlayerAction::StepBackwards:
        engine.Step(-1);
        return true;
    case PlayerAction::StepForwards:
        engine.Step(1);
        return true;
    case PlayerAction::JumpBackwards:
        Jump(-5 * secondUs, /*stepsWhilePaused=*/true);
        return true;
    case PlayerAction::JumpForwards:
        Jump(5 * secondUs, /*stepsWhilePaused=*/true);
        return true;
    case PlayerAction::JumpBackwardsExactly:
        Jump(-secondUs, /*stepsWhilePaused=*/false);
        return true;
    case PlayerAction::JumpForwardsExactly:
        Jump(secondUs, /*stepsWhilePaused=*/false);
        return true;
    case PlayerAction::GoToStart:
        engine.Seek(FirstTime(engine.GetStatus()));
        return true;
    case PlayerAction::GoToEnd:
        engine.Seek(EndOf(engine.GetStatus()) - 1);
        return true;
    default:
        return false;
    }
}

bool Transport::PerformRange(PlayerAction action)
{
    switch (action) {
    case PlayerAction::SetIn:
        MarkIn();
        return true;
    case PlayerAction::SetOut:
        MarkOut();
        return true;
    case PlayerAction::ClearInOut:
        in.reset();
        out.reset();
        ApplyLoop();
        return true;
    case PlayerAction::ToggleLoop:
        SetLooping(!looping);
        return true;
    default:
        return false;
    }
}

bool Transport::PerformSound(PlayerAction action)
{
    switch (action) {
    case PlayerAction::Mute:
        SetMuted(!IsMuted());
        return true;
    case PlayerAction::VolumeDown:
        SetVolume(GetVolume() - volumeStep);
        return true;
    case PlayerAction::VolumeUp:
        SetVolume(GetVolume() + volumeStep);
        return true;
    default:
        return false;
    }
}

void Transport::Reset()
{
    in.reset();
    out.reset();
    engine.SetSpeed(chosenSpeed); // also the direction in which the file is read first
    engine.Pause();
}

void Transport::Play()
{
    PlaybackStatus const status = engine.GetStatus();
    bool const atEnd = status.position + std::max(1LL, status.frameStep) >= EndOf(status);
    bool const atStart = status.position <= FirstTime(status);
    bool const moves = EndOf(status) > status.start;
    if (moves && chosenSpeed > 0.0 && atEnd)
        engine.Seek(FirstTime(status));
    else if (moves && chosenSpeed < 0.0 && atStart)
        engine.Seek(EndOf(status) - 1);
    engine.SetSpeed(chosenSpeed);
}

void Transport::SetSpeed(double speed)
{
    double const held = std::clamp(std::abs(speed), minSpeed, maxSpeed);
    chosenSpeed = std::copysign(std::round(held * 10000.0) / 10000.0, speed); // no accumulated rounding error
    if (IsPlaying(engine.GetStatus()))
        engine.SetSpeed(chosenSpeed);
}

double Transport::Shuttled(double speed, bool forwards)
{
    double const along = forwards ? speed : -speed; // in the direction of the key
    double changed = 1.0;
    if (along > 0.0)
        changed = std::min(maxSpeed, along * 2.0);
    else if (along < 0.0)
        changed = along >= -1.0 ? 0.0 : along / 2.0;
    return forwards ? changed : 0.0 - changed;
}

void Transport::Shuttle(bool forwards)
{
    PlaybackStatus const status = engine.GetStatus();
    engine.SetSpeed(Shuttled(IsPlaying(status) ? status.speed : 0.0, forwards));
}

void Transport::Jump(long long distance, bool stepsWhilePaused)
{
    PlaybackStatus const status = engine.GetStatus();
    if (stepsWhilePaused && !IsPlaying(status) && status.width > 0) {
        engine.Step(distance < 0 ? -1 : 1);
        return;
    }
    long long const last = std::max(status.start, EndOf(status) - 1);
    engine.Seek(std::clamp(status.position + distance, status.start, last));
}

void Transport::MarkIn()
{
    PlaybackStatus const status = engine.GetStatus();
    in = status.index ? status.index->TimeOf(status.index->NumberAt(status.position)) : status.position;
    if (out && *out <= *in)
        out.reset();
    ApplyLoop();
}

// The displayed picture is inside the range.
void Transport::MarkOut()
{
    PlaybackStatus const status = engine.GetStatus();
    if (status.index)
        out = status.index->EndOf(status.index->NumberAt(status.position)) + 1;
    else
        out = status.position + (status.width > 0 ? std::max(1LL, status.frameStep) : 1);
    if (in && *in >= *out)
        in.reset();
    ApplyLoop();
}

void Transport::SetRange(std::optional<long long> newIn, std::optional<long long> newOut)
{
    in = newIn;
    out = newOut;
    ApplyLoop();
}

void Transport::SetVolume(double newVolume)
{
    engine.SetVolume(std::clamp(std::round(newVolume * 1000.0) / 1000.0, 0.0, 1.0));
}

void Transport::SetMuted(bool muted)
{
    engine.SetMuted(muted);
}

void Transport::SetLooping(bool newLooping)
{
    looping = newLooping;
    ApplyLoop();
}

void Transport::ApplyLoop()
{
    PlaybackStatus const status = engine.GetStatus();
    if (looping && EndOf(status) > status.start)
        engine.SetLoop(in.value_or(status.start), out.value_or(EndOf(status)));
    else
        engine.ClearLoop();
}

double Transport::GetVolume() const
{
    return engine.GetStatus().volume;
}

bool Transport::IsMuted() const
{
    return engine.GetStatus().muted;
}
