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
    orders.Write({state, std::move(output), origin});
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
    SoundRun run = order.state.GetSoundRun();
    run.position = order.state.GetPosition(now) + order.origin;
    bool const goesOn = run.speed != 0.0 && order.output->Follows(run);
    if (!goesOn || order.state.clockSerial != freeClockSerial) {
        freeClock = order.state.clock;
        freeClockSerial = order.state.clockSerial;
    }
    if (goesOn)
        Report(order, now, delay);
    order.output->Fill(buffer, frames, run);
    return frames;
}

// The frames handed out so far tell where play is, and `delay` when that is heard.
void SoundLink::Report(Order const& order, long long now, long long delay)
{
    SoundReport report;
    report.clockSerial = order.state.clockSerial;
    report.position = order.output->GetPosition() - static_cast<double>(order.origin);
    report.instant = now + std::clamp(delay, 0LL, longestDelay);
    report.drift = report.position - static_cast<double>(freeClock.GetPosition(now));
    reports.Write(report);
}
