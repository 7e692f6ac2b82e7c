#include "playback/SoundLink.h"

#include "playback/SoundOutput.h"
#include "playback/TimeSource.h"

#include <algorithm>
#include <utility>

namespace {

constexpr long long longestDelay = 3600000000; // microseconds from a fill until it is heard

} // namespace

void SoundLink::Leave(PlayState const& state, std::shared_ptr<SoundOutput> output, long long origin)
{
    orders.Write({std::move(output), origin, state.GetSoundRun(), state.clock, state.reported, state.clockSerial});
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
    bool const goesOn = order.run.speed != 0.0 && order.output->Follows(order.run);
    if (!goesOn || order.clockSerial != freeClockSerial) {
        freeClock = order.clock;
        freeClockSerial = order.clockSerial;
    }
    if (goesOn)
        Report(order, now, delay);
    SoundRun run = order.run;
    run.position = PlayState::Onwards(order.clock.GetPosition(now), order.reported, run.speed) + order.origin;
    order.output->Fill(buffer, frames, run);
    return frames;
}

// The frames handed out so far tell where play is, and `delay` when that is heard.
void SoundLink::Report(Order const& order, long long now, long long delay)
{
    SoundReport report;
    report.clockSerial = order.clockSerial;
    report.position = order.output->GetPosition() - static_cast<double>(order.origin);
    report.instant = now + std::clamp(delay, 0LL, longestDelay);
    report.drift = report.position - static_cast<double>(freeClock.GetPosition(now));
    reports.Write(report);
}
