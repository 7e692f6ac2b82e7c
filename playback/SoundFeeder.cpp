#include "playback/SoundFeeder.h"

#include "common/Microseconds.h"
#include "decode/DecodedAudioFrame.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace {

constexpr long long kept = secondUs;      // of the past
constexpr long long batch = secondUs / 5; // read at a time
constexpr long long piece = 2 * secondUs; // of sound played backwards

double Haste(PlayNeed const& need)
{
    return std::max(std::fabs(need.speed), 1.0);
}

long long AtHaste(long long duration, PlayNeed const& need)
{
    return static_cast<long long>(static_cast<double>(duration) * Haste(need));
}

// Packets of raw sound begin wherever a seek lands, so that the last one of a piece can reach into the next.
void CutAt(DecodedAudioFrame& frame, long long time)
{
    if (frame.endTime < time || frame.frameCount <= 0)
        return;
    int const channels = frame.sampleCount / frame.frameCount;
    double const seconds = static_cast<double>(time - frame.startTime) / static_cast<double>(secondUs);
    frame.frameCount = std::min(static_cast<int>(std::lround(seconds * frame.sampleRate)), frame.frameCount);
    frame.sampleCount = frame.frameCount * channels;
    frame.endTime = time - 1;
}

} // namespace

SoundFeeder::SoundFeeder(std::unique_ptr<SoundStream> newReader, long long newOrigin)
    : reader(std::move(newReader)),
      origin(newOrigin),
      streamIndex(reader->GetIndex()),
      output(std::make_shared<SoundOutput>(reader->GetChannelCount(), reader->GetSampleRate()))
{}

SoundFeeder::~SoundFeeder() = default;

bool SoundFeeder::Begin(StopCheck const& stop)
{
    SoundStream::Frame frame;
    if (reader->Read(frame, stop) != ReadResult::Got)
        return false;
    own.begin = std::max(frame->startTime, 0LL); // what lies before the container's 0 is not played
    output->Append(frame, true);
    Set(own.forwards, frame->startTime, frame->endTime);
    followsForwards = true;
    return true;
}

bool SoundFeeder::Work(PlayNeed const& need, AskNeed const& ask, long long ahead)
{
    bool const isForPiece = need.piece.serial != 0 && !HasPiece(need.piece);
    if (!isForPiece && (!need.needsSound || Reaches(need, ahead)))
        return false;
    StopCheck const stop = [&] {
        PlayNeed const now = ask();
        return now.openSerial != need.openSerial || (now.seekSerial != need.seekSerial && !Reaches(now, 0));
    };
    if (isForPiece)
        ReadForPiece(need.piece, stop);
    else if (need.forwards)
        ReadForwards(need, stop);
    else
        ReadBackwards(need, stop);
    own.end = reader->GetEnd() != unknown ? reader->GetEnd() : own.end;
    Publish();
    return true;
}

// Pieces are played from what is decoded forwards. Before one that sounds backwards, the past is decoded as well: the
// next step goes there.
void SoundFeeder::ReadForPiece(SoundPiece const& piece, StopCheck const& stop)
{
    long long const time = std::max(piece.position + origin, 0LL);
    long long const from = piece.forwards ? time : std::max(time - kept, 0LL);
    if (time < own.forwards.from || from > own.forwards.to + 1)
        RestartForwards(from, stop);
    else
        ReadOn(time, stop);
}

void SoundFeeder::ReadForwards(PlayNeed const& need, StopCheck const& stop)
{
    long long const time = std::max(need.position + origin, 0LL);
    if (time < own.forwards.from || time > own.forwards.to + 1)
        RestartForwards(time, stop);
    else
        ReadOn(time, stop);
}

// A batch more behind what is decoded forwards, of which no more than needed around `time` is kept.
void SoundFeeder::ReadOn(long long time, StopCheck const& stop)
{
    Cover cover = own.forwards;
    SoundStream::Frame frame;
    for (long long const until = cover.to + batch; cover.to < until;) {
        ReadResult const result =
            followsForwards ? reader->Read(frame, stop) : reader->ReadAt(cover.to + 1, frame, stop);
        if (result == ReadResult::End)
            cover.to = noLimit;
        if (result != ReadResult::Got)
            break;
        followsForwards = true;
        output->Append(frame, true);
        cover.to = std::max(cover.to, frame->endTime);
    }
    cover.from = std::max(cover.from, std::min(time - kept, cover.to));
    output->Trim(cover.from, noLimit, true);
    Set(own.forwards, cover.from, cover.to);
}

void SoundFeeder::RestartForwards(long long time, StopCheck const& stop)
{
    Set(own.forwards, time, time - 1);
    output->Clear(true);
    followsForwards = true;
    SoundStream::Frame frame;
    ReadResult const result = reader->ReadAt(time, frame, stop);
    if (result == ReadResult::Got) {
        output->Append(frame, true);
        Set(own.forwards, time, frame->endTime);
    } else if (result == ReadResult::End) {
        Set(own.forwards, time, noLimit);
    } else {
        followsForwards = false;
    }
}

// One piece before what is covered, decoded forwards and appended last to first, which mirrored is in order.
void SoundFeeder::ReadBackwards(PlayNeed const& need, StopCheck const& stop)
{
    long long const time = std::max(need.position + origin, 0LL);
    Cover cover = own.backwards;
    if (time > cover.to + 1 || time + 1 < cover.from) {
        output->Clear(false);
        cover = {time + 1, time};
        Set(own.backwards, cover.from, cover.to);
    }
    long long const target = std::max(cover.from - AtHaste(piece, need), 0LL);
    followsForwards = false;
    std::vector<SoundStream::Frame> frames;
    SoundStream::Frame frame;
    ReadResult result = reader->ReadAt(target, frame, stop);
    for (; result == ReadResult::Got && frame->startTime < cover.from; result = reader->Read(frame, stop))
        frames.push_back(frame);
    if (result == ReadResult::Stopped)
        return;
    bool const isBeforeOthers = cover.from <= cover.to;
    if (isBeforeOthers && !frames.empty())
        CutAt(*frames.back(), cover.from);
    for (auto next = frames.rbegin(); next != frames.rend(); ++next)
        output->Append(*next, false);
    bool const isFirst = target == 0 || frames.empty() || frames.front()->startTime > target;
    bool const isAll = isFirst && target <= own.begin;
    cover.from = isAll ? unknown : (frames.empty() ? target : frames.front()->startTime);
    cover.to = std::max(std::min(cover.to, time + kept), time);
    output->Trim(unknown / 2, cover.to, false);
    Set(own.backwards, cover.from, cover.to);
}

void SoundFeeder::Set(Cover& cover, long long from, long long to)
{
    cover = {from, to};
    Publish();
}

void SoundFeeder::Publish()
{
    std::lock_guard const lock(mutex);
    published = own;
}

SoundFeeder::Snapshot SoundFeeder::GetSnapshot() const
{
    std::lock_guard const lock(mutex);
    return published;
}

bool SoundFeeder::HasSound(PlayNeed const& need, long long ahead) const
{
    return !need.needsSound || Reaches(need, ahead);
}

bool SoundFeeder::HasPiece(SoundPiece const& piece) const
{
    Cover const cover = GetSnapshot().forwards;
    long long const from = std::max(piece.position + origin, 0LL);
    long long const last = std::max(piece.position + origin + SoundPiece::duration - 1, 0LL);
    return cover.from <= from && last <= cover.to;
}

bool SoundFeeder::Reaches(PlayNeed const& need, long long ahead) const
{
    long long const time = std::max(need.position + origin, 0LL);
    Snapshot const now = GetSnapshot();
    if (need.forwards)
        return now.forwards.from <= time && time <= now.forwards.to && now.forwards.to - time >= AtHaste(ahead, need);
    return time <= now.backwards.to + 1 && now.backwards.from <= std::max(time - AtHaste(ahead, need), now.begin);
}
