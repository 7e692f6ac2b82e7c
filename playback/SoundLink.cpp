#include "playback/SoundLink.h"

#include "common/Microseconds.h"
#include "playback/SoundOutput.h"
#include "playback/TimeSource.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace {

constexpr long long longestDelay = 3600 * secondUs; // from a fill until it is heard

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
    if (std::exchange(outputSerial, order.outputSerial) != order.outputSerial && order.former)
        order.output->TakeTail(*order.former);
    long long const now = timeSource.GetTime();
    delay = std::clamp(delay, 0LL, longestDelay);
    bool const isRunning = order.state.IsRunning();
    SoundRun run = order.state.GetSoundRun();
    run.piece.position += order.origin;
    run.restarts = restarts;
    Place next = {order.output->GetPosition() - static_cast<double>(order.origin), now + delay};
    bool const goesOn = isRunning && order.output->Follows(run) && !HasFallenBehind(next, now, run.speed);
    if (!goesOn) {
        long long const position = PositionToBegin(order.state, now, delay);
        next.position = static_cast<double>(position);
        run.position = position + order.origin;
        run.restarts = isRunning ? ++restarts : restarts;
    }
    SetClocks(next, run.speed, goesOn && order.state.clockSerial == freeClockSerial);
    freeClockSerial = order.state.clockSerial;
    lastFill = now;
    if (goesOn)
        Report(order, next);
    order.output->Fill(buffer, frames, run);
    return frames;
}

// By what was heard as of the last block, if that was long ago.
bool SoundLink::HasFallenBehind(Place const& next, long long now, double speed) const
{
    double const missed = static_cast<double>(heardClock.GetPosition(next.instant)) - next.position;
    double const along = speed > 0.0 ? missed : -missed;
    return now - lastFill > longestStall && along > static_cast<double>(longestStall) * std::max(1.0, std::fabs(speed));
}

void SoundLink::SetClocks(Place const& next, double speed, bool freeClockGoesOn)
{
    if (!freeClockGoesOn)
        freeClock.SetPosition(next.position, next.instant);
    freeClock.SetSpeed(speed, next.instant);
    heardClock.SetPosition(next.position, next.instant);
    heardClock.SetSpeed(speed, next.instant);
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
