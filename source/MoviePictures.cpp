#include "source/MoviePictures.h"

#include "common/Microseconds.h"
#include "common/VideoStream.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "source/Search.h"

#include <algorithm>
#include <utility>

namespace {

using Search::farAway;
using Search::longestGuess;

// A packet that drains gives a picture, or drops one, or ends the drain. No decoder holds more pictures than this.
constexpr int mostFruitlessDrains = 1000;

// So close before a target, decoding on is quicker than going back to a key picture.
constexpr long long nearAhead = secondUs / 2;

// A decoder of H.264 that is drained soon after it began with an open group can lose its last pictures. Where packets
// bear no times, as those of AVI with reordered pictures, the first picture after a landing has none either when it
// comes by the drain. No more of them than a decoder can hold back.
constexpr long long picturesBeforeEnd = 16;

// So close before a target nothing is dropped, as it may be in hand already.
constexpr long long fewPictures = 3;

} // namespace

MoviePictures::MoviePictures(std::shared_ptr<MediaInfo> newInfo, double newUntimedRate,
                             ColourSettings const& newColours, int newThreads)
    : info(std::move(newInfo)), untimedRate(newUntimedRate), colours(newColours), threads(newThreads)
{}

MoviePictures::~MoviePictures() = default;

bool MoviePictures::Open()
{
    if (!Restart() || instance->GetActiveVideoStreamIndex() < 0)
        return false;
    VideoStream stream;
    info->GetVideoStream(instance->GetActiveVideoStreamIndex(), stream);
    streamStart = std::clamp(stream.startTime, -farAway, farAway);
    while (instance->HasPacket() && !instance->IsVideoPacket() && !instance->IsEndOfFile())
        instance->PrepareNextPacket(false);
    canLand = instance->HasStoredTimes() && (instance->GetPacketTime() != longAgo || info->GetDuration() > 0);
    bool const isTimeless = instance->GetPacketTime() == longAgo;
    losesLastPictures = isTimeless || stream.codecName == QLatin1String("h264");
    if (losesLastPictures && info->GetDuration() > 0)
        latestLanding = info->GetDuration() - picturesBeforeEnd * std::max(stream.frameStep, 0LL);
    return true;
}

// A new instance, because the decoder's count for pictures without times goes on through any seek.
bool MoviePictures::Restart()
{
    Forget();
    packetsSinceLanding = -1;
    isStained = false;
    instance = std::make_unique<MediaInstance>();
    instance->SetColours(colours);
    instance->SetFrameThreads(threads);
    if (!instance->Initialize(info, 0) || !instance->HasPacket())
        return false;
    SetUpDecoder();
    return true;
}

// Before a seek.
bool MoviePictures::RenewCodec()
{
    isStained = false;
    if (!instance->RenewVideoCodec())
        return false;
    SetUpDecoder();
    return true;
}

void MoviePictures::SetUpDecoder()
{
    instance->SetSeekSkipping(skips);
    instance->SetStepwiseDrain(true);
    VideoStream stream;
    info->GetVideoStream(instance->GetActiveVideoStreamIndex(), stream);
    if (stream.frameRate == 0.0)
        instance->SetDecoderFrameRate(untimedRate);
}

void MoviePictures::SetColours(ColourSettings const& newColours)
{
    colours = newColours;
    Forget(); // what is decoded already
    if (instance)
        instance->SetColours(colours);
}

QString MoviePictures::DescribeColours() const
{
    return instance ? instance->DescribeColours() : QString();
}

void MoviePictures::Forget()
{
    ready.clear();
    newest.reset();
    dropBefore = -1;
    brokenBefore = longAgo;
    lastStart = longAgo;
    limit = longAgo;
    groupStart = longAgo;
    keylessUntil = longAgo;
    drained = false;
    fruitlessDrains = 0;
}

ReadResult MoviePictures::ReadNear(long long time, long long earliest, Picture& picture, StopCheck const& stop)
{
    time = std::clamp(time, 0LL, farAway);
    earliest = std::clamp(earliest, 0LL, time);
    doubtfulEnd = longAgo;
    if (!FindFirst(stop))
        return drained ? ReadResult::End : ReadResult::Stopped;
    limit = longAgo;
    SetSkipping(true);
    ReadResult result = FindPicture(time, earliest, stop);
    if (result != ReadResult::Stopped && instance->HasSkippedInDoubt()) {
        Forget();
        SetSkipping(false);
        result = FindPicture(time, earliest, stop);
    }
    if (result == ReadResult::Got)
        picture = ready.takeFirst();
    return result;
}

void MoviePictures::SetSkipping(bool newSkips)
{
    skips = newSkips;
    instance->SetSeekSkipping(skips); // until the next landing
}

ReadResult MoviePictures::FindPicture(long long time, long long earliest, StopCheck const& stop)
{
    Landing landing = ReadOnTo(time, earliest, stop);
    long long const duration = info->GetDuration();
    long long const latest = std::min(time, duration > 0 ? duration : longestGuess);
    bool fromStart = !canLand;
    long long back = std::max(instance->RequiresLargeSeekOffset() ? secondUs : 0, latest - latestLanding);
    for (; landing == Landing::Late; back = Search::FurtherBack(back)) {
        fromStart = fromStart || (back > 0 && latest - back + GetOrigin() <= 0);
        if (!fromStart) {
            landing = SeekAndRead(latest - back, latest, earliest, stop);
            continue;
        }
        if (!Restart())
            return ReadResult::End;
        DropBefore(earliest - back);
        bool const isAll = dropBefore < 0;
        landing = ReadUpTo(earliest, stop);
        if (isAll)
            break; // nothing was dropped that could show at that time: this is as early as it gets
        if (drained)
            back = earliest;
    }
    if (landing != Landing::Stopped)
        return ready.isEmpty() ? ReadResult::End : ReadResult::Got;
    Forget();
    return ReadResult::Stopped;
}

MoviePictures::Landing MoviePictures::SeekAndRead(long long target, long long latest, long long earliest,
                                                  StopCheck const& stop)
{
    if (!Land(target, latest, stop))
        return stop() ? Landing::Stopped : Landing::Late;
    keylessUntil = target;
    bool const keepsAll = brokenBefore != longAgo && brokenBefore >= earliest;
    DropBefore(keepsAll ? 0 : std::min(earliest, latest) - (latest - target));
    Landing const landing = ReadUpTo(keepsAll ? brokenBefore : earliest, stop);
    bool const isBeyondEnd = landing == Landing::Late && drained && !IsEndInDoubt() && dropBefore > 0;
    if (!isBeyondEnd || !Land(target, latest, stop))
        return landing;
    return ReadUpTo(earliest, stop); // all was dropped: the last picture is wanted
}

// Not at 0: a picture that began long before it may be the one showing then.
void MoviePictures::DropBefore(long long time)
{
    dropBefore = time > 0 ? time : -1;
}

// Seeks and takes the first key packet of the pictures in hand. False when there is none, or when its picture shows
// only after `latest`.
//
// With frame threads, FFmpeg's decoder of H.264 keeps something of a damaged picture through a flush, and the pictures
// after the flush are wrong. So a new codec takes its place after damage, and after the end of the file, which may be
// cut within a picture.
bool MoviePictures::Land(long long time, long long latest, StopCheck const& stop)
{
    bool const hasSeenEnd = losesLastPictures && instance->IsEndOfFile();
    if ((isStained || hasSeenEnd) && !RenewCodec())
        return false;
    Forget();
    packetsSinceLanding = 0;
    instance->Seek(std::max(time + GetOrigin(), 0LL));
    if (instance->HasSeekFailed())
        return false;
    instance->SetSeekSkipping(skips);
    instance->BeginAtKeyPicture();
    latestKey = latest;
    for (; !instance->IsVideoPacket() || !instance->IsKeyPacket(); instance->PrepareNextPacket(false)) {
        bool const isTooLate = instance->IsVideoPacket() && instance->GetPacketTime() > latest + GetOrigin() + secondUs;
        if (isTooLate || !instance->HasPacket() || instance->IsEndOfFile() || stop())
            return false;
    }
    if (instance->GetPacketTime() != longAgo)
        brokenBefore = instance->GetPacketTime() - GetOrigin();
    return brokenBefore <= latest;
}

// Goes on reading where that is the quicker way; Late when it is not.
MoviePictures::Landing MoviePictures::ReadOnTo(long long time, long long earliest, StopCheck const& stop)
{
    if (!IsQuicklyReached(time))
        return Landing::Late;
    long long const next = (ready.isEmpty() ? newest : ready.first())->startTime;
    bool const isNext = shortestStep != noStep && earliest < next + fewPictures * shortestStep;
    if (!isNext) {
        // With pictures dropped in between, the end of what has been read already could not be told.
        ready.clear();
        newest.reset();
        DropBefore(earliest);
    }
    Landing const landing = ReadUpTo(earliest, stop);
    bool const isFound = landing == Landing::Late && !ready.isEmpty() && ready.first()->startTime <= time;
    return isFound ? Landing::Found : landing;
}

bool MoviePictures::IsQuicklyReached(long long time) const
{
    auto const& next = ready.isEmpty() ? newest : ready.first();
    if (!next || drained || next->startTime > time)
        return false;
    return !canLand || time - next->startTime < nearAhead || time < ExpectedKeyTime();
}

// Of the next key picture: groups are taken to be as long as those before, or twice as long as what is known of this
// one. So a key picture is sought in vain only a few times in even the longest group.
long long MoviePictures::ExpectedKeyTime() const
{
    if (groupStart == longAgo)
        return longAgo;
    long long const known = std::min(std::max(keylessUntil, lastStart), farAway);
    long long const keyless = known > groupStart ? known - groupStart : 0;
    return groupStart + std::max(2 * keyless, GetGroupDuration());
}

void MoviePictures::NoteKeyPacket()
{
    if (!instance->IsVideoPacket() || !instance->IsKeyPacket() || instance->GetPacketTime() == longAgo)
        return;
    long long const start = std::clamp(instance->GetPacketTime(), -farAway, farAway) - GetOrigin();
    if (groupStart != longAgo && start > groupStart) {
        groupsLength += start - groupStart;
        ++groupsCount;
    }
    groupStart = start;
}

// Reads until the next picture is the one showing at `time`; the last one when the stream ends before. Late when it
// begins with a later one or has none at all.
MoviePictures::Landing MoviePictures::ReadUpTo(long long time, StopCheck const& stop)
{
    Picture last;
    Picture picture;
    ReadResult result = ReadOn(picture, stop);
    for (; result == ReadResult::Got && picture->endTime < time; result = ReadOn(picture, stop))
        last = std::move(picture);
    if (result == ReadResult::Stopped)
        return Landing::Stopped;
    if (result == ReadResult::End && IsEndInDoubt())
        return Landing::Late;
    if (result == ReadResult::End)
        picture = last;
    if (!picture)
        return Landing::Late;
    dropBefore = -1;
    ready.prepend(picture);
    return picture->startTime <= time ? Landing::Found : Landing::Late;
}

void MoviePictures::ReadOnlyBefore(long long time)
{
    limit = time;
}

ReadResult MoviePictures::Read(Picture& picture, StopCheck const& stop)
{
    if (doubtfulEnd == longAgo) {
        ReadResult const result = ReadOn(picture, stop);
        if (result != ReadResult::End || !newest || !IsEndInDoubt())
            return result;
        doubtfulEnd = newest->startTime;
    }
    long long const sought = doubtfulEnd;
    ReadResult const result = ReadAt(sought, picture, stop);
    doubtfulEnd = result == ReadResult::Stopped ? sought : longAgo;
    return result;
}

ReadResult MoviePictures::ReadOn(Picture& picture, StopCheck const& stop)
{
    while (ready.isEmpty()) {
        if (drained)
            return limit == longAgo || hasClosedGroups ? ReadResult::End : ReadResult::Stopped;
        if (stop())
            return ReadResult::Stopped;
        if (IsWithoutKeyPicture())
            return ReadResult::End;
        if (IsGroupComplete())
            DrainGroup();
        else
            DecodePacket();
    }
    picture = ready.takeFirst();
    return ReadResult::Got;
}

// What the container called a key picture is none to the codec, and the next true one comes too late.
bool MoviePictures::IsWithoutKeyPicture() const
{
    return instance->IsBeforeKeyPicture() && instance->IsVideoPacket() &&
           instance->GetPacketTime() > latestKey + GetOrigin() + secondUs;
}

// Where media time 0 lies is known from the first picture of all.
bool MoviePictures::FindFirst(StopCheck const& stop)
{
    while (firstTime == longAgo && !drained && !stop())
        DecodePacket();
    return firstTime != longAgo;
}

// The packet in hand begins a group of which nothing is wanted.
bool MoviePictures::IsGroupComplete() const
{
    bool const isWanted = limit != longAgo && hasClosedGroups && shortestStep != noStep;
    return isWanted && instance->IsVideoPacket() && instance->IsKeyPacket() &&
           instance->GetPacketTime() >= limit + GetOrigin();
}

void MoviePictures::DrainGroup()
{
    NoteKeyPacket();
    for (int i = 0; i < mostFruitlessDrains && !drained; ++i) {
        QList<Picture> records;
        instance->DrainVideo(records, dropBefore < 0 ? -1 : dropBefore + Shift());
        TakeRecords(std::move(records));
    }
    drained = true;
    // Two steps are room for a picture that comes only after the key picture.
    hasClosedGroups = newest && limit - newest->startTime < 2 * shortestStep;
    if (hasClosedGroups)
        ReleaseNewest(limit - 1);
}

// The stream has ended so soon after a landing that the decoder may have kept pictures for itself.
bool MoviePictures::IsEndInDoubt() const
{
    bool const isSoon = packetsSinceLanding >= 0 && packetsSinceLanding < picturesBeforeEnd;
    return drained && limit == longAgo && losesLastPictures && isSoon;
}

void MoviePictures::DecodePacket()
{
    if (!instance->HasPacket()) {
        // Each empty packet drains one picture.
        instance->PrepareNextPacket(true);
        drained = ++fruitlessDrains > mostFruitlessDrains;
    }
    if (instance->IsAudioPacket()) {
        instance->PrepareNextPacket(false);
        return;
    }
    QList<std::shared_ptr<DecodedAudioFrame>> sounds; // of the drain, not ours
    QList<Picture> records;
    NoteKeyPacket();
    if (packetsSinceLanding >= 0 && instance->IsVideoPacket())
        ++packetsSinceLanding;
    instance->DecodeOnePacket(sounds, records, dropBefore < 0 ? -1 : dropBefore + Shift());
    TakeRecords(std::move(records));
    if (drained) // the end of the stream, whatever was wanted of it
        limit = longAgo;
    if (drained && newest && !IsEndInDoubt())
        ReleaseNewest(newest->startTime + DurationOf(*newest) - 1);
}

void MoviePictures::TakeRecords(QList<Picture> records)
{
    QList<Picture> resized;
    for (auto const& record : records) {
        if (!record->data)
            drained = true;
        else if (record->status == 0)
            TakePicture(record);
        else if (instance->FollowSizeChange(resized) && !resized.isEmpty())
            TakePicture(resized.takeLast());
        else
            TakeLost(*record);
    }
    TakeDamage();
}

void MoviePictures::TakeLost(DecodedVideoFrame const& record)
{
    error = QStringLiteral("A picture of %1 x %2 pixels could not be decoded.").arg(record.width).arg(record.height);
    damage.Add(std::max(record.startTime - Shift(), 0LL));
}

// What shows before the key picture of a landing may lack nothing but the pictures in front of that.
void MoviePictures::TakeDamage()
{
    for (long long const time : instance->TakeDamage()) {
        isStained = true;
        if (time - Shift() >= brokenBefore)
            damage.Add(std::max(time - Shift(), 0LL));
    }
}

void MoviePictures::TakePicture(Picture picture)
{
    ++decodedCount;
    if (firstTime == longAgo)
        firstTime = std::min(picture->startTime, farAway);
    picture->startTime -= Shift();
    if (picture->startTime < brokenBefore || picture->startTime <= lastStart)
        return;
    if (lastStart != longAgo)
        shortestStep = std::min(shortestStep, picture->startTime - lastStart);
    lastStart = picture->startTime;
    if (newest)
        ReleaseNewest(picture->startTime - 1);
    newest = std::move(picture);
}

// What shows wholly before 0 is no part of the media; what reaches into it begins there.
void MoviePictures::ReleaseNewest(long long endTime)
{
    auto const picture = std::move(newest);
    picture->endTime = endTime;
    picture->startTime = std::max(picture->startTime, 0LL);
    if (drained && limit == longAgo)
        end = endTime + 1;
    if (endTime >= 0)
        ready.append(picture);
}

// Streams without times, and some that are not what their head says, do not begin at the decoder's 0.
long long MoviePictures::Shift() const
{
    return firstTime == longAgo ? 0 : std::max(firstTime, 0LL);
}

long long MoviePictures::GetOrigin() const
{
    return streamStart + Shift();
}

long long MoviePictures::DurationOf(DecodedVideoFrame const& picture) const
{
    double const rate = picture.frameRate > 0.0 ? picture.frameRate : untimedRate;
    return std::max(static_cast<long long>(secondUs / rate), 1LL);
}

long long MoviePictures::GetEnd() const
{
    return end;
}

QString MoviePictures::GetError() const
{
    return error;
}

QVector<long long> MoviePictures::GetDamage() const
{
    return damage.Get();
}

long long MoviePictures::GetGroupDuration() const
{
    return groupsCount > 0 ? groupsLength / groupsCount : 0;
}

long long MoviePictures::GetDecodedCount() const
{
    return decodedCount;
}
