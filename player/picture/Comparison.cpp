#include "player/picture/Comparison.h"

#include "common/Microseconds.h"
#include "decode/DecodedVideoFrame.h"
#include "playback/TimeSource.h"

#include <atomic>

namespace {

// Microseconds. Further ahead than this, the second engine seeks instead of playing on.
constexpr long long farAhead = 2 * secondUs;

PlaybackOptions WithoutSound(PlaybackOptions options)
{
    options.withSound = false;
    return options;
}

} // namespace

// Time that passes only as far as the first engine gets. An engine that plays at speed 1 or -1 by it is where the first
// one is, at whatever speed that plays.
class FollowingTime : public TimeSource
{
public:
    long long GetTime() const override { return time; }
    void PassBy(long long microseconds) { time += microseconds; }

private:
    std::atomic<long long> time{0};
};

Comparison::Comparison(QString const& path, PlaybackOptions const& options)
    : clock(std::make_shared<FollowingTime>()), engine(WithoutSound(options), clock), colours(options.colours)
{
    engine.Open(path);
}

Comparison::~Comparison() = default;

void Comparison::Follow(PlaybackStatus const& first, DecodedVideoFrame const* shown)
{
    PlaybackStatus const status = engine.GetStatus();
    if (status.state == PlaybackState::Opening || status.state == PlaybackState::Closed)
        return;
    long long const time = shown ? shown->startTime : first.position;
    if (first.speed == 0.0 || first.state == PlaybackState::Ended)
        FollowStill(status, time);
    else
        FollowMoving(status, time, first.speed > 0.0 ? 1.0 : -1.0);
}

void Comparison::FollowStill(PlaybackStatus const& status, long long time)
{
    if (status.speed != 0.0)
        engine.Pause();
    if (time == seekTime)
        return; // not again: beyond the end, the position stays another one
    seekTime = time;
    if (status.position != time)
        engine.Seek(time);
}

void Comparison::FollowMoving(PlaybackStatus const& status, long long time, double direction)
{
    seekTime = -1;
    long long const ahead = direction > 0.0 ? time - status.position : status.position - time;
    bool const isOver = status.state == PlaybackState::Ended && status.speed == direction;
    if (ahead < 0 || (ahead > farAhead && !isOver))
        engine.Seek(time);
    if (status.speed != direction)
        engine.SetSpeed(direction);
    else if (ahead > 0 && ahead <= farAhead && !status.waiting && !isOver)
        clock->PassBy(ahead);
}

void Comparison::SetColours(ColourSettings const& newColours)
{
    if (newColours == colours)
        return;
    colours = newColours;
    engine.SetColours(colours);
}

bool Comparison::IsInStep()
{
    return engine.WaitUntilReady(0);
}
