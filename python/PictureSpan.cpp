#include "python/PictureSpan.h"

#include "common/Microseconds.h"
#include "decode/DecodedVideoFrame.h"

#include <algorithm>
#include <utility>

namespace {

constexpr long long longestStep = 3600 * secondUs;
constexpr long long smallestSegment = 8; // pictures
constexpr long long fewestPictures = 4;  // kept whatever the budget

// Part of the budget for pictures behind a caller who has only gone forwards. Each 4 KB of fresh memory costs a page
// fault, which is worth it only for a caller who comes back.
constexpr long long partBehind = 4;

// Groups that turn out not to be closed cost one more reading.
constexpr int mostReadings = 3;

} // namespace

PictureSpan::PictureSpan(std::unique_ptr<PictureStream> newStream, long long newFrameStep, long long newBudget)
    : stream(std::move(newStream)),
      frameStep(std::clamp(newFrameStep, 1LL, longestStep)),
      budget(newBudget),
      aim(smallestSegment)
{}

PictureSpan::~PictureSpan() = default;

PictureSpan::Picture PictureSpan::At(long long time, StopCheck const& stop)
{
    NoteReturn(time);
    if (Picture found = Find(time))
        return found;
    bool const followed = std::exchange(follows, false);
    Picture picture;
    if (stream->ReadAt(time, picture, stop) == ReadResult::Stopped)
        throw Interrupted();
    if (!picture)
        return nullptr;
    bool const isNext = followed && !pictures.empty() && picture->startTime == pictures.back()->endTime + 1;
    if (!isNext)
        DropAll();
    Append(picture);
    follows = true;
    return picture;
}

PictureSpan::Picture PictureSpan::After(DecodedVideoFrame const& picture, StopCheck const& stop)
{
    long long const time = picture.endTime + 1;
    if (Picture found = Find(time))
        return found;
    bool const isNext = follows && !pictures.empty() && pictures.back()->endTime == picture.endTime;
    if (!isNext) {
        bool const isPastEnd = stream->GetEnd() >= 0 && time >= stream->GetEnd();
        Picture const later = isPastEnd ? nullptr : At(time, stop);
        return later && later->startTime > picture.startTime ? later : nullptr;
    }
    Picture next;
    if (stream->Read(next, stop) == ReadResult::Stopped)
        throw Interrupted();
    if (next)
        Append(next);
    return next;
}

PictureSpan::Picture PictureSpan::Before(DecodedVideoFrame const& picture, StopCheck const& stop)
{
    long long const until = picture.startTime;
    if (until <= first)
        return nullptr;
    returns = true;
    if (Picture found = Find(until - 1))
        return found;
    bool const isContinued = !pictures.empty() && pictures.front()->startTime == until;
    if (!isContinued) {
        DropAll();
        aim = smallestSegment;
    }
    if (ReadSegment(until, stop))
        return Find(until - 1);
    first = until;
    return nullptr;
}

// False when nothing lies before `until`.
bool PictureSpan::ReadSegment(long long until, StopCheck const& stop)
{
    bool isInterrupted = false;
    StopCheck const noting = [&] { return isInterrupted = isInterrupted || stop(); };
    follows = false;
    Segment segment;
    ReadResult result = ReadResult::Stopped;
    for (int i = 0; i < mostReadings && result == ReadResult::Stopped; ++i) {
        segment = {};
        result = ReadBefore(until, noting, segment);
        if (isInterrupted)
            throw Interrupted();
    }
    if (segment.pictures.empty())
        return false;
    segment.pictures.back()->endTime = until - 1; // of a damaged stream, whose pictures are not all found
    pictures.insert(pictures.begin(), segment.pictures.begin(), segment.pictures.end());
    bytes += segment.bytes;
    aim = std::min(2 * aim, MostPictures());
    return true;
}

// As late a part of what lies before `until` as the budget holds. Stopped also when the source has found its groups not
// to be closed, and wants to be asked again.
ReadResult PictureSpan::ReadBefore(long long until, StopCheck const& stop, Segment& segment)
{
    long long const most = MostPictures();
    long long const step = StepLength();
    long long const earliest = std::max(until - most * step, 0LL);
    long long const target = std::max(until - LengthBackwards(most, step), earliest);
    Picture picture;
    ReadResult result = stream->ReadNear(std::min(target, until - 1), earliest, picture, stop);
    stream->ReadOnlyBefore(until);
    for (; result == ReadResult::Got && picture->startTime < until; result = stream->Read(picture, stop)) {
        Note(picture);
        segment.bytes += picture->size;
        segment.pictures.push_back(std::move(picture));
        KeepWithinBudget(segment);
    }
    return result;
}

// What shows later gives way first.
void PictureSpan::KeepWithinBudget(Segment& segment)
{
    while (bytes + segment.bytes > budget && !pictures.empty()) {
        bytes -= pictures.back()->size;
        pictures.pop_back();
    }
    while (segment.bytes > budget && static_cast<long long>(segment.pictures.size()) > fewestPictures) {
        segment.bytes -= segment.pictures.front()->size;
        segment.pictures.pop_front();
    }
}

// How far back a segment goes: into the first one of as many whole groups as it can hold, or of those that are wanted
// soon. A group that is cut is decoded again for the rest.
long long PictureSpan::LengthBackwards(long long most, long long step) const
{
    long long const group = stream->GetGroupDuration();
    long long const groups = group > 0 ? std::min(most, aim) * step / group : 0;
    return groups > 0 ? (groups - 1) * group + step / 2 : std::clamp(most / 2, 1LL, aim) * step;
}

long long PictureSpan::MostPictures() const
{
    return std::max(budget / largest, fewestPictures);
}

// The rate that a stream says can be far from what its pictures do: the kept pictures give a better estimate.
long long PictureSpan::StepLength() const
{
    if (pictures.size() < 2)
        return frameStep;
    long long const length = pictures.back()->startTime - pictures.front()->startTime;
    return std::clamp(length / static_cast<long long>(pictures.size() - 1), 1LL, longestStep);
}

PictureSpan::Picture PictureSpan::Find(long long time) const
{
    auto const isLater = [](long long wanted, Picture const& picture) { return wanted < picture->startTime; };
    auto const next = std::upper_bound(pictures.begin(), pictures.end(), time, isLater);
    if (next == pictures.begin())
        return nullptr;
    Picture const& picture = *(next - 1);
    return next != pictures.end() || time <= picture->endTime ? picture : nullptr;
}

// Notes that the caller comes back: to a time so shortly before the latest picture that the whole budget would hold it.
void PictureSpan::NoteReturn(long long time)
{
    if (pictures.empty() || time >= pictures.back()->startTime)
        return;
    returns = returns || pictures.back()->startTime - time <= MostPictures() * StepLength();
}

void PictureSpan::Append(Picture const& picture)
{
    Note(picture);
    pictures.push_back(picture);
    bytes += picture->size;
    long long const most = returns ? budget : budget / partBehind;
    while (bytes > most && static_cast<long long>(pictures.size()) > fewestPictures) {
        bytes -= pictures.front()->size;
        pictures.pop_front();
    }
}

void PictureSpan::Note(Picture const& picture)
{
    largest = std::max(largest, static_cast<long long>(picture->size));
}

void PictureSpan::DropAll()
{
    pictures.clear();
    bytes = 0;
}

long long PictureSpan::GetEnd() const
{
    return stream->GetEnd();
}

long long PictureSpan::GetOrigin() const
{
    return stream->GetOrigin();
}

QString PictureSpan::GetError() const
{
    return stream->GetError();
}
