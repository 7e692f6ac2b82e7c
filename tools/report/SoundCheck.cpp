#include "tools/report/SoundCheck.h"

#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "decode/DecodedAudioFrame.h"
#include "media/MediaInfo.h"
#include "source/SoundStream.h"
#include "source/Source.h"

#include <algorithm>
#include <cmath>

namespace {

// Times of packets are rounded, and some containers shift them a little; what is missing beyond that is a hole.
constexpr long long smallestHole = secondUs / 10;

constexpr long long packetsForOneHole = 20;

// Each stretch backwards may mean reading from the start again where the container cannot seek.
constexpr long long mostStretches = 16;
constexpr long long shortestStretch = 10 * secondUs;

double SecondsOf(DecodedAudioFrame const& frame)
{
    return frame.sampleRate > 0 ? static_cast<double>(frame.frameCount) / frame.sampleRate : 0.0;
}

} // namespace

SoundCheck::SoundCheck(Source const& newSource) : source(newSource) {}

void SoundCheck::TakePacket(QList<std::shared_ptr<DecodedAudioFrame>> const& frames)
{
    if (frames.isEmpty())
        return;
    long long const start = frames.first()->startTime;
    double packetSeconds = 0.0;
    for (auto const& frame : frames)
        packetSeconds += SecondsOf(*frame);
    auto const duration = std::llround(packetSeconds * secondUs);
    if (firstStart == unknown)
        firstStart = start;
    if (packetStart != unknown && start <= packetStart)
        ++unordered;
    if (end != unknown && start - end > std::max(smallestHole, duration)) {
        firstHole = holes == 0 ? end : firstHole;
        ++holes;
    }
    ++packets;
    seconds += packetSeconds;
    packetStart = start;
    end = std::max(end, start + duration);
}

void SoundCheck::ReadBackwards(CheckWatch const& watch)
{
    if (!HasAny())
        return;
    auto const stream = source.OpenSound();
    long long const stretch = std::max(shortestStretch, (end - firstStart) / mostStretches);
    for (long long to = end; to > firstStart && !watch.stop(); to -= stretch) {
        long long const from = std::max(to - stretch, firstStart);
        if (!stream || !IsFoundBackwards(*stream, from, to, watch.stop))
            missingBackwards = from;
        watch.showProgress(QStringLiteral("sound backwards: %1").arg(TimeText::Clock(source.ToMediaTime(from))));
    }
}

// The reader puts silence into holes, so that all of the stretch is there.
bool SoundCheck::IsFoundBackwards(SoundStream& stream, long long from, long long to, StopCheck const& stop) const
{
    SoundStream::Frame frame;
    if (stream.ReadAt(from, frame, stop) != ReadResult::Got || frame->startTime > from + smallestHole)
        return false;
    while (frame->endTime + 1 < to && stream.Read(frame, stop) == ReadResult::Got) {
    }
    return frame->endTime + 1 + smallestHole >= to;
}

QList<CheckFault> SoundCheck::GetFaults() const
{
    QList<CheckFault> faults;
    if (unordered > 0)
        faults << CheckFault{QStringLiteral("%1 at or before the time of the one before")
                                 .arg(unordered == 1 ? QStringLiteral("1 packet of sound comes")
                                                     : QStringLiteral("%1 packets of sound come").arg(unordered))};
    if (HasLostSound())
        faults << CheckFault{QStringLiteral("%1 in the sound, the first at %2")
                                 .arg(holes == 1 ? QStringLiteral("1 hole") : QStringLiteral("%1 holes").arg(holes),
                                      TimeText::Clock(source.ToMediaTime(firstHole))),
                             source.ToMediaTime(firstHole)};
    if (missingBackwards != unknown)
        faults << CheckFault{QStringLiteral("sound that is there forwards is not found backwards, from %1 on")
                                 .arg(TimeText::Clock(source.ToMediaTime(missingBackwards))),
                             source.ToMediaTime(missingBackwards)};
    return faults;
}

// The index of a QuickTime file says of each packet how long it lasts, so a hole in one is meant; and where there are
// many, the recorder left out silence.
bool SoundCheck::HasLostSound() const
{
    bool const isMeant = source.GetFormatName().startsWith(QLatin1String("mov,"));
    return holes > 0 && !isMeant && holes <= std::max(1LL, packets / packetsForOneHole);
}

long long SoundCheck::GetDuration() const
{
    return std::llround(seconds * secondUs);
}
