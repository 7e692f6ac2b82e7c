#include "source/SoundStream.h"

#include "common/Microseconds.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "source/Search.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

using Search::farAway;
using Search::longestGuess;

// From here before a target on packets are decoded: overlapping windows, bit reservoirs and filters have settled then.
constexpr long long settling = secondUs / 2;

// So close before a target, decoding on is quicker than another landing.
constexpr long long soundNearAhead = 2 * secondUs;

// Times of packets are rounded, up to a millisecond and more, and some are wrong by 10 ms; what is missing beyond that
// is a hole.
constexpr long long rounding = 2000;
constexpr long long smallestHole = secondUs / 50;

// A hole in the sound of a damaged file can be as long as the file says: it is filled piece by piece, and not beyond.
constexpr long long longestSilence = secondUs;
constexpr long long longestHole = 600 * secondUs;

} // namespace

SoundStream::SoundStream(std::shared_ptr<MediaInfo> newInfo, int index) : info(std::move(newInfo)), wantedIndex(index)
{}

SoundStream::~SoundStream() = default;

bool SoundStream::Open()
{
    return Restart() && instance->GetOutputChannelCount() > 0 && instance->GetSampleRate() > 0;
}

bool SoundStream::Restart()
{
    Forget();
    instance = std::make_unique<MediaInstance>();
    instance->SetAudioStream(wantedIndex);
    instance->SetMostThreads(1); // of the pictures, which are not decoded here
    if (!instance->Initialize(info, 0))
        return false;
    // Pictures that cannot be decoded are no reason to be silent: the sound's side is open by then.
    if (!instance->HasPacket())
        instance->PrepareNextPacket(true);
    return instance->HasPacket();
}

void SoundStream::Forget()
{
    ready.clear();
    first.reset();
    lastStart = unknown;
    nextTime = unknown;
    outOfStep = 0;
    ended = false;
}

int SoundStream::GetIndex() const
{
    return instance->GetActiveAudioStreamIndex();
}

int SoundStream::GetChannelCount() const
{
    return instance->GetOutputChannelCount();
}

int SoundStream::GetSampleRate() const
{
    return instance->GetSampleRate();
}

long long SoundStream::GetEnd() const
{
    return end;
}

void SoundStream::ReadThrough()
{
    instance->LeaveOutPictures();
}

ReadResult SoundStream::ReadAt(long long time, Frame& frame, StopCheck const& stop)
{
    time = std::clamp(time, 0LL, farAway);
    if (IsShortlyAhead(time))
        return PassUpTo(time, frame, stop);
    long long const wanted = std::min(time, LatestTime()) - settling;
    for (long long back = 0; !stop(); back = Search::FurtherBack(back)) {
        long long const target = wanted - back;
        if (target > 0 && Land(target, wanted, stop))
            return PassUpTo(time, frame, stop);
        if (target <= 0 || instance->HasSeekFailed()) // then all is read from the start
            return Restart() ? PassUpTo(time, frame, stop) : ReadResult::End;
    }
    return ReadResult::Stopped;
}

// Where landing makes sense at most: beyond the end, containers search for long or not at all.
long long SoundStream::LatestTime() const
{
    long long const duration = info->GetDuration();
    return duration > 0 ? std::min(duration, farAway) + std::clamp(info->GetStartTime(), 0LL, farAway) : longestGuess;
}

bool SoundStream::IsShortlyAhead(long long time) const
{
    long long const next = ready.isEmpty() ? nextTime : ready.first()->startTime;
    return next != unknown && next <= time && time - next < soundNearAhead;
}

// Seeks, and passes over what sounds before `latest`. False when nothing is found from there on, or only later sound.
bool SoundStream::Land(long long time, long long latest, StopCheck const& stop)
{
    Forget();
    instance->Seek(time);
    if (instance->HasSeekFailed())
        return false;
    while (!stop() && instance->HasPacket() && !instance->IsEndOfFile()) {
        if (instance->IsAudioPacket() && instance->GetPacketTime() != unknown)
            return instance->GetPacketTime() <= latest;
        instance->PrepareNextPacket(false);
    }
    return false;
}

ReadResult SoundStream::PassUpTo(long long time, Frame& frame, StopCheck const& stop)
{
    ReadResult result = Read(frame, stop);
    while (result == ReadResult::Got && frame->endTime < time)
        result = Read(frame, stop);
    return result;
}

ReadResult SoundStream::Read(Frame& frame, StopCheck const& stop)
{
    while (ready.isEmpty()) {
        if (ended)
            return ReadResult::End;
        if (stop())
            return ReadResult::Stopped;
        DecodePacket();
    }
    frame = ready.takeFirst();
    return ReadResult::Got;
}

void SoundStream::DecodePacket()
{
    bool const drains = instance->IsEndOfFile() || !instance->HasPacket();
    if (!drains && !instance->IsAudioPacket()) {
        instance->PrepareNextPacket(false);
        return;
    }
    bool hasTime = !drains && instance->GetPacketTime() != unknown;
    QList<Frame> frames;
    QList<std::shared_ptr<DecodedVideoFrame>> pictures; // of the drain, not ours
    if (instance->HasPacket())
        instance->DecodeOnePacket(frames, pictures, -1);
    for (auto const& frame : frames) {
        TakeFrame(frame, hasTime);
        hasTime = false;
    }
    if (drains) {
        ReleaseFirst(nullptr);
        ended = true;
        end = std::max(end, nextTime);
    }
}

void SoundStream::TakeFrame(Frame frame, bool hasTime)
{
    if (frame->frameCount <= 0)
        return;
    ReleaseFirst(hasTime ? frame.get() : nullptr);
    long long const duration = frame->endTime - frame->startTime;
    bool const isFirst = lastStart == unknown;
    bool const isBehind = !isFirst && (frame->startTime <= lastStart || frame->startTime < nextTime - smallestHole);
    if (!isFirst && (!hasTime || isBehind))
        frame->startTime = nextTime;
    if (!isFirst && frame->startTime > nextTime + smallestHole)
        FillHole(nextTime, frame->startTime);
    else if (!isFirst)
        frame->startTime = Believable(frame->startTime);
    frame->endTime = frame->startTime + duration;
    lastStart = frame->startTime;
    nextTime = frame->endTime + 1;
    if (isFirst)
        first = std::move(frame);
    else
        ready.append(std::move(frame));
}

// FFmpeg cuts a codec's lead-in off the front of the first frame, which keeps the time of its packet: what remains of
// it is the end of that packet. `second` is null where its time says nothing.
void SoundStream::ReleaseFirst(DecodedAudioFrame const* second)
{
    if (!first)
        return;
    long long const hole = second ? second->startTime - nextTime : 0;
    long long const cut = second ? (second->frameCount - first->frameCount) * secondUs / GetSampleRate() : 0;
    if (cut > 0 && hole > 0 && std::abs(hole - cut) <= rounding) {
        first->startTime += hole;
        first->endTime += hole;
        lastStart = first->startTime;
        nextTime = second->startTime;
    }
    ready.append(std::exchange(first, nullptr));
}

// A time that is out of step counts once the next one is so by as much. Where a decoder's blocks have several sizes,
// the time of a packet is wrong now and then, the first one after a seek too.
long long SoundStream::Believable(long long time)
{
    long long const former = std::exchange(outOfStep, time - nextTime);
    bool const isBelieved = std::abs(outOfStep) <= rounding || std::abs(outOfStep - former) <= rounding;
    if (isBelieved)
        outOfStep = 0;
    return isBelieved ? time : nextTime;
}

void SoundStream::FillHole(long long from, long long to)
{
    if (to - from > longestHole)
        return;
    for (long long length = 0; from < to; from += length) {
        length = std::min(to - from, longestSilence);
        auto silence = std::make_shared<DecodedAudioFrame>();
        silence->sampleRate = GetSampleRate();
        silence->frameCount = static_cast<int>(length * GetSampleRate() / secondUs);
        silence->sampleCount = silence->frameCount * GetChannelCount();
        silence->sampleCapacity = silence->sampleCount;
        silence->samples = new short[static_cast<size_t>(silence->sampleCount)]();
        silence->startTime = from;
        silence->endTime = from + length - 1;
        ready.append(std::move(silence));
    }
}
