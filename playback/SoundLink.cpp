#include "playback/SoundLink.h"

#include "common/Microseconds.h"
#include "playback/SoundOutput.h"
#include "playback/TimeSource.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace {

constexpr long long longestDelay = 3600000000; // microseconds from a fill until it is heard

// Microseconds between two blocks after which the device has stood still. If the sound has fallen behind by as much, it
// goes on where play is by then.
constexpr long long longestStall = secondUs / 4;

// Microseconds of play after which the sound joins in time. Before, play has only just begun, and waits for the sound
// instead, of which nothing is lost.
constexpr long long beginning = secondUs / 10;

// Where the sound of play begins that is asked for now, and heard `delay` later.
long long PositionToBegin(PlayState const& state, long long now, long long delay)
{
    long long const position = state.GetPosition(now);
    bool const hasJustBegun = std::llabs(position - state.begunAt) < beginning;
    return hasJustBegun || !state.IsRunning() ? position : state.GetPosition(now + delay);
}

} // namespace

void SoundLink::Leave(PlayState const& state, std::shared_ptr<SoundOutput> output, long long origin)
{
    if (output != newest.output) {
        newest.former = output ? std::move(newest.output) : nullptr;
        newest.output = std::move(output);
        ++newest.outputSerial;
    }
    orders.Write({state, newest.output, newest.former, newest.outputSerial, origin});
}

void SoundLink::TakeReport(PlayState& state)
{
    if (reports.Update())
        state.Follow(reports.Get());
}

int SoundLink::Fill(short* buffer, int frames, long long delay, TimeSource const& timeSource)
{
    orders.Update();
    Order const& order = orders.Get();
    if (!order.output || !buffer || frames <= 0)
        return 0;
    long long const now = timeSource.GetTime();
    if (std::exchange(outputSerial, order.outputSerial) != order.outputSerial && order.former)
        order.output->TakeTail(*order.former);
    delay = std::clamp(delay, 0LL, longestDelay);
    SoundRun run = order.state.GetSoundRun();
    run.piece.position += order.origin;
    run.restarts = restarts;
    bool goesOn = order.state.IsRunning() && order.output->Follows(run);
    Place next = {order.output->GetPosition() - static_cast<double>(order.origin), now + delay};
    bool const hasStalled = now - std::exchange(lastFill, now) > longestStall;
    if (goesOn && hasStalled && HasFallenBehind(next, run.speed)) {
        run.restarts = ++restarts;
        goesOn = false;
    }
    if (!goesOn) {
        long long const position = PositionToBegin(order.state, now, delay);
        run.position = position + order.origin;
        next.position = static_cast<double>(position);
    }
    if (!goesOn || order.state.clockSerial != freeClockSerial) {
        freeClock.SetPosition(next.position, next.instant);
        freeClockSerial = order.state.clockSerial;
    }
    freeClock.SetSpeed(run.speed, next.instant);
    heardClock.SetPosition(next.position, next.instant);
    heardClock.SetSpeed(run.speed, next.instant);
    if (goesOn)
        Report(order, next);
    order.output->Fill(buffer, frames, run);
    return frames;
}

// By what was heard as of the last block.
bool SoundLink::HasFallenBehind(Place const& next, double speed) const
{
    double const missed = static_cast<double>(heardClock.GetPosition(next.instant)) - next.position;
    double const along = speed > 0.0 ? missed : -missed;
    return along > static_cast<double>(longestStall) * std::max(1.0, std::fabs(speed));
}

// The frames handed out so far tell where play is, and the delay when that is heard.
void SoundLink::Report(Order const& order, Place const& next)
{
    SoundReport report;
    report.clockSerial = order.state.clockSerial;
    report.position = next.position;
    report.instant = next.instant;
    report.drift = next.position - static_cast<double>(freeClock.GetPosition(next.instant));
    reports.Write(report);
}
