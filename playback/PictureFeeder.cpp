#include "playback/PictureFeeder.h"

#include "common/Microseconds.h"
#include "decode/DecodedVideoFrame.h"
#include "playback/PictureNumbers.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <utility>

namespace {

// Microseconds; a place so close ahead of the cached pictures is reached by reading on, which keeps the cache in one
// piece.
constexpr long long nearAhead = secondUs;

// Microseconds of playing at normal speed. When decoding is further behind play than `lateness`, it skips ahead.
// `longestFreeze`: for so long the display may show nothing new while decoding catches up.
constexpr long long lateness = secondUs / 10;
constexpr long long longestFreeze = secondUs / 5;

constexpr long long mostPictures = 100000;
constexpr long long longestStep = 3600 * secondUs;
constexpr int smallestSegment = 8;  // pictures; segments grow while play goes on backwards
constexpr double measureSpan = 0.5; // seconds of decoding for one measurement

using SteadyClock = std::chrono::steady_clock;

long long Scaled(long long duration, PlayNeed const& need)
{
    return static_cast<long long>(static_cast<double>(duration) * std::max(1.0, std::abs(need.speed)));
}

} // namespace

PictureFeeder::PictureFeeder(std::unique_ptr<PictureStream> newSource, long long newFrameStep, long long newBudget,
                             ColourSettings const& newColours)
    : source(std::move(newSource)),
      frameStep(std::clamp(newFrameStep, 1LL, longestStep)),
      budget(newBudget),
      aim(smallestSegment)
{
    own.colours = newColours;
    Publish();
}

PictureFeeder::~PictureFeeder() = default;

bool PictureFeeder::Begin(StopCheck const& stop)
{
    Picture picture;
    if (source->Read(picture, stop) != ReadResult::Got)
        return false;
    NotePicture(picture);
    cache.SetBudget(budget, pictureBytes, 0);
    cache.Append(picture);
    own.first = picture->startTime;
    followsCache = true;
    Publish();
    return true;
}

void PictureFeeder::SetNumbers(PictureNumbers& newNumbers)
{
    numbers = &newNumbers;
    PictureCache::Place const first = Find(own.first, 0);
    numbers->Note(first.start, first.end);
}

bool PictureFeeder::Work(PlayNeed const& need, AskNeed const& ask)
{
    long long const decodedBefore = source->GetDecodedCount();
    auto const begin = SteadyClock::now();
    HeedColours(need);
    HeedBudget(need);
    bool const worked = need.seekSerial != own.failedSerial && DoWork(need, ask);
    released.clear();
    Measure(decodedBefore, std::chrono::duration<double>(SteadyClock::now() - begin).count());
    Publish();
    return worked;
}

bool PictureFeeder::DoWork(PlayNeed const& need, AskNeed const& ask)
{
    PictureCache::Place const current = Find(need.position, 0);
    if (current.picture)
        return WorkAround(current, need, ask);
    return need.preview ? ShowPreview(need, ask) : Reach(need, ask);
}

// The picture for the position is there; what about the next ones?
bool PictureFeeder::WorkAround(PictureCache::Place const& current, PlayNeed const& need, AskNeed const& ask)
{
    if (need.steps > 0 && !IsLast(current) && !cache.Find(current.start, 1).picture)
        return ReadForwards(need, ask);
    if (need.steps < 0 && !IsFirst(current) && !cache.Find(current.start, -1).picture)
        return FillBackwards(need, ask);
    if (need.playing && !need.forwards)
        return FillBackwards(need, ask);
    // While paused nothing gives way to what may never be wanted.
    if (!need.playing && !cache.HasRoomFor(pictureBytes))
        return false;
    switch (cache.Update(WindowFor(need), released)) {
    case PictureCache::Advice::Forwards:
        return ReadForwards(need, ask);
    case PictureCache::Advice::Backwards:
        return FillBackwards(need, ask);
    default:
        return false;
    }
}

// The picture for the position is not there.
bool PictureFeeder::Reach(PlayNeed const& need, AskNeed const& ask)
{
    long long const time = ShownTime(need.position);
    PictureCache::Span const span = cache.GetSpan();
    if (span.count > 0 && need.playing && need.speed != 0.0)
        return need.forwards ? CatchUpForwards(time, need, ask) : CatchUpBackwards(time, need, ask);
    if (span.count > 0 && followsCache && time > span.end && time - span.end < nearAhead)
        return ReadForwards(need, ask);
    if (span.count > 0 && need.playing && !need.forwards && time < span.start && span.start - time < lateness)
        return FillBackwards(need, ask);
    return SeekTo(time, time, need, ask);
}

// Play has come past what is cached.
bool PictureFeeder::CatchUpForwards(long long time, PlayNeed const& need, AskNeed const& ask)
{
    PictureCache::Span const span = cache.GetSpan();
    if (time < span.start)
        return SeekTo(time, time, need, ask);
    if (time - span.end < Scaled(lateness, need))
        return ReadForwards(need, ask);
    return SeekTo(time, std::min(span.end + Scaled(longestFreeze, need), time), need, ask);
}

// Goes as far back as the budget reaches, and from there on meets play, so that much of what follows is there already.
// Where not even that comes in time, key pictures alone are shown.
bool PictureFeeder::CatchUpBackwards(long long time, PlayNeed const& need, AskNeed const& ask)
{
    PictureCache::Span const span = cache.GetSpan();
    if (time > span.end && followsCache)
        return ReadForwards(need, ask);
    if (time < span.start && span.start - time + lead < Scaled(lateness, need))
        return FillBackwards(need, ask);
    long long const reach = PicturesIn(EffectiveBudget()) * frameStep;
    long long const target = ShownTime(time - lead);
    return SeekTo(target, lead < reach ? std::max(target - reach, 0LL) : 0, need, ask);
}

// So that the picture showing at `time`, or one from `earliest` on that comes before it, is the one that is cached.
bool PictureFeeder::SeekTo(long long time, long long earliest, PlayNeed const& need, AskNeed const& ask)
{
    StopCheck const stop = [&, openSerial = need.openSerial, seekSerial = need.seekSerial] {
        PlayNeed const now = ask();
        HeedBudget(now); // what is cached is not needed any more
        bool const isTooLate = now.speed < 0.0 && earliest < time && now.position < earliest;
        return now.openSerial != openSerial || isTooLate || (mayBeStopped && now.seekSerial != seekSerial);
    };
    followsCache = false;
    Picture picture;
    ReadResult const result = source->ReadNear(time, earliest, picture, stop);
    NoteLead(need, ask());
    if (result == ReadResult::Stopped) {
        mayBeStopped = false;
        return true;
    }
    mayBeStopped = true;
    if (!picture) {
        own.failedSerial = need.seekSerial;
        return true;
    }
    NotePicture(picture);
    // A source that cannot find an earlier picture shows this one from there on.
    picture->startTime = std::min(picture->startTime, time);
    released = cache.TakeAll();
    cache.Append(picture);
    followsCache = true;
    aim = smallestSegment;
    return true;
}

// A slow piece of work is remembered for a while, as the quick ones after it are so because they go to key pictures.
void PictureFeeder::NoteLead(PlayNeed const& before, PlayNeed const& now)
{
    long long const passed = before.seekSerial == now.seekSerial ? before.position - now.position : 0;
    lead = now.speed < 0.0 ? std::max(passed, lead * 7 / 8) : 0;
}

bool PictureFeeder::ShowPreview(PlayNeed const& need, AskNeed const& ask)
{
    if (own.preview && own.previewSerial == need.seekSerial)
        return false;
    followsCache = false;
    StopCheck const stop = [&, openSerial = need.openSerial] { return ask().openSerial != openSerial; };
    Picture picture;
    if (source->ReadNear(ShownTime(need.position), 0, picture, stop) != ReadResult::Got)
        own.failedSerial = need.seekSerial;
    own.preview = picture;
    own.previewSerial = need.seekSerial;
    return true;
}

// What is worth stopping the decoding of pictures around the position for: another source, a place without picture, or
// less room.
StopCheck PictureFeeder::StopForOthers(PlayNeed const& need, AskNeed const& ask)
{
    return [this, &ask, openSerial = need.openSerial, seekSerial = need.seekSerial] {
        PlayNeed const now = ask();
        return now.openSerial != openSerial || now.budget < budget ||
               (now.seekSerial != seekSerial && !Find(now.position, 0).picture);
    };
}

bool PictureFeeder::ReadForwards(PlayNeed const& need, AskNeed const& ask)
{
    if (!MakeRoomBefore(pictureBytes, need))
        return false;
    released.clear(); // their memory serves the picture that is read
    StopCheck const stop = StopForOthers(need, ask);
    Picture picture;
    ReadResult const result =
        followsCache ? source->Read(picture, stop) : source->ReadAt(cache.GetSpan().end + 1, picture, stop);
    if (result == ReadResult::Stopped)
        return true;
    if (result == ReadResult::End && !followsCache) {
        own.failedSerial = need.seekSerial;
        return true;
    }
    if (result == ReadResult::End) {
        auto const mark = std::make_shared<DecodedVideoFrame>();
        mark->endTime = source->GetEnd() - 1;
        cache.Append(mark);
        return true;
    }
    NotePicture(picture);
    followsCache = MakeRoomBefore(picture->size, need); // it may be larger than any before
    if (followsCache)
        cache.Append(picture);
    return true;
}

bool PictureFeeder::FillBackwards(PlayNeed const& need, AskNeed const& ask)
{
    PictureCache::Span const span = cache.GetSpan();
    bool const isUrgent = cache.GetBalance(ShownTime(need.position)).before == 0;
    long long const room = RoomBackwards(need);
    if (span.start <= own.first || (!isUrgent && room < EffectiveBudget() / 2))
        return false;
    long long const most = std::max(PicturesIn(std::min(room, EffectiveBudget() / 2)), 1LL);
    // The rate that a stream says can be far from what its pictures do: what is cached tells better.
    long long const usualStep = span.count > 1 ? (span.end - span.start) / span.count + 1 : frameStep;
    long long const step = std::min(usualStep, longestStep);
    long long const earliest = std::max(span.start - most * step, 0LL);
    long long const target = std::max(span.start - LengthBackwards(most, step), earliest);
    aim = std::min(2 * aim, most);

    followsCache = false;
    StopCheck const isForOthers = StopForOthers(need, ask);
    // Where play is beyond it from the first, the next segment is the one that it needs.
    bool const canBePassed = need.speed < 0.0 && need.position >= earliest;
    StopCheck const stop = [&] { return isForOthers() || (canBePassed && ask().position < earliest); };
    Picture picture;
    ReadResult const found = source->ReadNear(std::min(target, span.start - 1), earliest, picture, stop);
    if (found == ReadResult::End)
        own.failedSerial = need.seekSerial; // what is cached was read from there once: the file is not what it was
    if (found == ReadResult::Got && ReadSegment(std::move(picture), span.start, need, stop))
        AppendSegment(ask);
    cache.TakeAllWaiting();
    NoteLead(need, ask());
    return true;
}

// How far back a segment of at most `most` pictures goes: into the first one of as many whole groups as it can hold, or
// of those that are wanted soon. A group that is cut would be decoded again for the rest.
long long PictureFeeder::LengthBackwards(long long most, long long step) const
{
    long long const group = source->GetGroupDuration();
    long long const groups = group > 0 ? std::min(most, aim) * step / group : 0;
    return groups > 0 ? (groups - 1) * group + step / 2 : std::clamp(most / 2, 1LL, aim) * step;
}

// Reads from `picture` on what lies before `until`, as late a part of it as there is room for; false when it was
// stopped. Where nothing lies, what is cached begins with the first picture of all.
bool PictureFeeder::ReadSegment(Picture picture, long long until, PlayNeed const& need, StopCheck const& stop)
{
    source->ReadOnlyBefore(until);
    bool isAnyBefore = false;
    ReadResult result = ReadResult::Got;
    for (; result == ReadResult::Got && picture->startTime < until; result = source->Read(picture, stop)) {
        isAnyBefore = true;
        NotePicture(picture);
        while (!cache.HasRoomFor(picture->size) && (MakeRoomBehind(need) || cache.TakeFirstWaiting())) {
        }
        released.clear();
        if (cache.HasRoomFor(picture->size))
            cache.AddWaiting(std::move(picture));
    }
    bool const isComplete = result != ReadResult::Stopped;
    if (isComplete && !isAnyBefore)
        own.first = until;
    return isComplete;
}

// From the last to the first, because the cache takes only what lies outside of what it holds.
void PictureFeeder::AppendSegment(AskNeed const& ask)
{
    while (cache.AppendLastWaiting()) {
        PlayNeed const now = ask();
        if (now.playing && !now.forwards)
            cache.Update(WindowFor(now), released);
    }
}

// Bytes that a segment may take.
long long PictureFeeder::RoomBackwards(PlayNeed const& need)
{
    PictureCache::Balance const balance = cache.GetBalance(ShownTime(need.position));
    return EffectiveBudget() - balance.before - balance.current - (GivesWayBehind(need) ? 0 : balance.after);
}

// Playing or stepping backwards, what shows later than now gives way.
bool PictureFeeder::GivesWayBehind(PlayNeed const& need)
{
    return (need.playing && !need.forwards) || need.steps < 0;
}

// Lets go of the last cached picture when it shows later than now.
bool PictureFeeder::MakeRoomBehind(PlayNeed const& need)
{
    PictureCache::Span const span = cache.GetSpan();
    bool const isLastNeeded = cache.Find(ShownTime(need.position), 0).end >= span.end || need.position >= span.end;
    if (isLastNeeded || !GivesWayBehind(need))
        return false;
    Picture last = cache.TakeLast();
    if (!last)
        return false;
    released.push_back(std::move(last));
    return true;
}

// Lets go of what shows earlier than now until there is room for a picture; false when there is none all the same.
bool PictureFeeder::MakeRoomBefore(long long bytes, PlayNeed const& need)
{
    long long const time = ShownTime(need.position);
    while (!cache.HasRoomFor(bytes)) {
        bool const isEarlier = cache.Find(cache.GetSpan().start, 0).end < time;
        Picture first = isEarlier ? cache.TakeFirst() : nullptr;
        if (!first)
            return false;
        released.push_back(std::move(first));
    }
    return true;
}

PictureCache::Window PictureFeeder::WindowFor(PlayNeed const& need) const
{
    long long const mediaEnd = own.end >= 0 ? own.end - 1 : std::numeric_limits<long long>::max();
    return {ShownTime(need.position), mediaEnd, need.playing, need.forwards};
}

// Lets go of all pictures: those around the position are read anew.
void PictureFeeder::HeedColours(PlayNeed const& need)
{
    if (need.colours == own.colours)
        return;
    source->SetColours(need.colours);
    released = cache.TakeAllWaiting();
    released = cache.TakeAll();
    released.clear();
    followsCache = false;
    own.failedSerial = -1;
    own.preview.reset();
    own.colours = need.colours;
}

// The sizes that the cache reckons with follow the pictures.
void PictureFeeder::NotePicture(Picture const& picture)
{
    if (numbers)
        numbers->Note(picture->startTime, picture->endTime);
    pictureBytes = std::max(pictureBytes, static_cast<long long>(picture->size));
}

// Lets go of pictures at once when it is less than before.
void PictureFeeder::HeedBudget(PlayNeed const& need)
{
    if (need.budget == budget && pictureBytes == heededPictureBytes)
        return;
    budget = need.budget;
    heededPictureBytes = pictureBytes;
    PictureCache::Span const before = cache.GetSpan();
    released = cache.SetBudget(budget, pictureBytes, ShownTime(need.position));
    followsCache = followsCache && cache.GetSpan().end == before.end;
    released.clear();
}

void PictureFeeder::Publish()
{
    own.decodedCount = source->GetDecodedCount();
    own.end = source->GetEnd();
    own.error = source->GetError();
    own.damage = source->GetDamage();
    own.colourText = source->DescribeColours();
    Snapshot former = own; // once exchanged; freed without the lock
    std::lock_guard const lock(mutex);
    std::swap(published, former);
}

void PictureFeeder::Measure(long long decodedBefore, double seconds)
{
    long long const pictures = source->GetDecodedCount() - decodedBefore;
    if (pictures <= 0)
        return;
    measuredPictures += pictures;
    measuredSeconds += seconds;
    if (own.decodeRate == 0.0 || measuredSeconds >= measureSpan)
        own.decodeRate = static_cast<double>(measuredPictures) / std::max(measuredSeconds, 1e-6);
    if (measuredSeconds < measureSpan)
        return;
    measuredPictures = 0;
    measuredSeconds = 0.0;
}

long long PictureFeeder::PicturesIn(long long bytes) const
{
    return std::min(bytes / std::max(pictureBytes, 1LL), mostPictures);
}

long long PictureFeeder::EffectiveBudget() const
{
    return std::max(budget, PictureCache::fewestPictures * pictureBytes);
}

long long PictureFeeder::ShownTime(long long position) const
{
    std::lock_guard const lock(mutex);
    long long const time = std::max(position, published.first);
    return published.end >= 0 ? std::min(time, published.end - 1) : time;
}

PictureCache::Place PictureFeeder::Find(long long position, int offset) const
{
    return cache.Find(ShownTime(position), offset);
}

PictureCache::Place PictureFeeder::FindNewest(long long position, bool forwards) const
{
    PictureCache::Place current = Find(position, 0);
    PictureCache::Span const span = cache.GetSpan();
    long long const time = ShownTime(position);
    bool const isLate = forwards ? span.end < time : span.start > time;
    if (current.picture || !isLate)
        return current;
    return cache.Find(forwards ? span.end : span.start, 0);
}

bool PictureFeeder::IsFirst(PictureCache::Place const& place) const
{
    std::lock_guard const lock(mutex);
    return place.start <= published.first;
}

bool PictureFeeder::IsLast(PictureCache::Place const& place) const
{
    long long const end = GetEnd();
    return end >= 0 && place.end + 1 >= end;
}

// Going backwards, the picture before it too, so that a turn does not begin with a gap.
bool PictureFeeder::IsReady(PlayNeed const& need) const
{
    Snapshot const now = GetSnapshot();
    if (now.colours != need.colours)
        return false;
    if (now.failedSerial == need.seekSerial)
        return true;
    PictureCache::Place const current = Find(need.position, 0);
    if (!current.picture)
        return need.preview && now.preview && now.previewSerial == need.seekSerial;
    return need.forwards || !need.playing || IsFirst(current) || Find(current.start, -1).picture;
}

PictureFeeder::Picture PictureFeeder::GetPreview(long long seekSerial) const
{
    std::lock_guard const lock(mutex);
    return published.previewSerial == seekSerial ? published.preview : nullptr;
}

long long PictureFeeder::CountBetween(PictureCache::Place const& one, PictureCache::Place const& other) const
{
    PictureCache::Place const& earlier = one.start < other.start ? one : other;
    PictureCache::Place const& later = one.start < other.start ? other : one;
    if (earlier.end + 1 >= later.start)
        return 0;
    int const cached = cache.CountBetween(earlier.start, later.start);
    return cached >= 0 ? cached : std::max((later.start - earlier.end) / frameStep, 1LL);
}

long long PictureFeeder::GetEnd() const
{
    std::lock_guard const lock(mutex);
    return published.end;
}

PictureFeeder::Snapshot PictureFeeder::GetSnapshot() const
{
    std::lock_guard const lock(mutex);
    return published;
}
