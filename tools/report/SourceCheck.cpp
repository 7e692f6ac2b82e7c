#include "tools/report/SourceCheck.h"

#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/Source.h"
#include "tools/report/DecodeReport.h"
#include "tools/report/MessageLog.h"
#include "tools/report/SequenceFiles.h"
#include "tools/report/SessionWalk.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

// Containers round what they say about their length.
constexpr long long cutTolerance = secondUs;

QByteArray SumOf(DecodedVideoFrame const& picture)
{
    return QByteArray::fromHex(RecordSum::Of(picture).toLatin1());
}

QString Counted(long long count, char const* one, char const* several)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : several));
}

// Whether the length in the file's head is told exactly, and not reckoned from its size; and whether it can only be
// that of the pictures and the sound that are decoded.
bool TellsItsLength(Source const& source)
{
    int const decoded = (source.HasPictures() ? 1 : 0) + (source.HasSound() ? 1 : 0);
    if (source.GetInfo()->GetDuration() <= 0 || source.GetStreams().size() != decoded)
        return false;
    QStringList const names = source.GetFormatName().split(QLatin1Char(','));
    for (char const* name : {"mov", "matroska", "avi", "wav", "flac", "mxf"}) {
        if (names.contains(QLatin1String(name)))
            return true;
    }
    return false;
}

} // namespace

SourceCheck::SourceCheck(Source const& newSource, CountErrors newCountErrors, CheckWatch newWatch)
    : source(newSource), countErrors(std::move(newCountErrors)), watch(std::move(newWatch)), sound(newSource)
{}

bool SourceCheck::Run()
{
    if (source.GetKind() == SourceKind::Sequence) {
        ReadFiles();
        return true;
    }
    if (!ReadForwards())
        return false;
    JudgeTimes();
    JudgeLength();
    if (!source.HasOnePicture() && !pictures.empty())
        ReadBackwards();
    sound.ReadBackwards(watch);
    faults += sound.GetFaults();
    return true;
}

// One after the other, so that what FFmpeg says belongs to one file.
void SourceCheck::ReadFiles()
{
    for (SequenceFiles::Hole const& hole : SequenceFiles::FindHoles(source))
        AddFault(SequenceFiles::Describe(hole),
                 SequenceFiles::TimeOf(source, hole.first - source.GetSequence().GetFirstNumber()));
    ImageSequence const& sequence = source.GetSequence();
    for (long long i = 0; i < sequence.GetCount() && !watch.stop(); i = sequence.GetIndexAfter(i)) {
        auto const decoded = SequenceFiles::Decode(source, i);
        long long const time = SequenceFiles::TimeOf(source, i);
        QString const name = SequenceFiles::NameOf(source, i);
        if (!decoded.picture)
            AddFault(name + QStringLiteral(" cannot be decoded"), time, sequence.GetFile(i));
        else if (decoded.isDamaged)
            AddFault(name + QStringLiteral(" is damaged: ") + decoded.error, time, sequence.GetFile(i));
        if (decoded.picture)
            pictures.push_back({time, {}});
        ShowProgress("files", time);
    }
}

// Going backwards begins between key pictures, of which decoders may complain with good reason: only what they say
// forwards counts.
bool SourceCheck::ReadForwards()
{
    int const errorsBefore = countErrors();
    FfmpegMessages const messages;
    SessionWalk walk(source);
    if (!walk.Start())
        return false;
    ReadAll(walk, messages);
    DropWhatShowsBeforeZero();
    JudgeMessages(messages, countErrors() - errorsBefore);
    return true;
}

void SourceCheck::ReadAll(SessionWalk& walk, FfmpegMessages const& messages)
{
    SessionWalk::Records records;
    while (!watch.stop() && walk.Read(records)) {
        sound.TakePacket(records.sounds);
        for (auto const& picture : records.pictures) {
            if (SessionWalk::IsPicture(*picture))
                TakePicture(picture);
        }
        records = {};
        if (firstErrorTime == unknown && messages.GetErrorCount() > 0)
            firstErrorTime = ReachedTime();
        ShowProgress("forwards", ReachedTime());
    }
}

// Media time begins with the first picture, or with 0 where the first comes before it.
void SourceCheck::TakePicture(std::shared_ptr<DecodedVideoFrame> const& record)
{
    if (firstTime == unknown)
        firstTime = record->startTime;
    lastPicture = record;
    long long const time = record->startTime - std::max(firstTime, 0LL);
    if (!pictures.empty() && time <= pictures.back().time)
        ++unorderedPictures;
    else
        pictures.push_back({time, SumOf(*record)});
}

// What is gone by 0 is never played; what reaches into it begins there.
void SourceCheck::DropWhatShowsBeforeZero()
{
    auto const isGone = [](Picture const& next) { return next.time <= 0; };
    auto first = pictures.begin();
    while (pictures.end() - first > 1 && isGone(*(first + 1)))
        ++first;
    pictures.erase(pictures.begin(), first);
    if (!pictures.empty())
        pictures.front().time = std::max(pictures.front().time, 0LL);
}

void SourceCheck::JudgeMessages(FfmpegMessages const& messages, int undecodable)
{
    if (pictures.empty() && !sound.HasAny())
        AddFault(QStringLiteral("nothing in it can be decoded"));
    if (undecodable > 0)
        AddFault(Counted(undecodable, "error", "errors") + QStringLiteral(" while decoding"));
    if (messages.GetErrorCount() > 0) {
        long long const time = firstErrorTime == unknown ? ReachedTime() : firstErrorTime;
        AddFault(
            QStringLiteral("%1 of FFmpeg, the first near %2: %3")
                .arg(Counted(messages.GetErrorCount(), "message", "messages"), NameOf(time), messages.GetFirstError()),
            time);
    }
}

void SourceCheck::JudgeTimes()
{
    if (unorderedPictures > 0)
        AddFault(Counted(unorderedPictures, "picture comes", "pictures come") +
                 QStringLiteral(" at or before the time of the one before"));
    std::vector<long long> times;
    for (Picture const& picture : pictures)
        times.push_back(picture.time);
    auto const gaps = PictureGaps::Find(times);
    long long missing = 0;
    for (PictureGaps::Gap const& gap : gaps)
        missing += gap.length;
    if (!gaps.empty())
        AddFault(QStringLiteral("pictures are missing in %1, %2 in all, the first at %3")
                     .arg(Counted(static_cast<long long>(gaps.size()), "place", "places"), TimeText::Clock(missing),
                          TimeText::Clock(gaps.front().start)),
                 gaps.front().start);
}

void SourceCheck::JudgeLength()
{
    if (!TellsItsLength(source) || (pictures.empty() && !sound.HasAny()))
        return;
    long long const reached = source.ToMediaTime(EndOfAll());
    long long const told = source.ToMediaTime(source.GetInfo()->GetDuration());
    if (reached + cutTolerance < told)
        AddFault(QStringLiteral("ends at %1 although it tells a length of %2")
                     .arg(TimeText::Clock(reached), TimeText::Clock(told)),
                 reached);
}

long long SourceCheck::ReachedTime() const
{
    if (!pictures.empty())
        return pictures.back().time;
    return sound.HasAny() ? source.ToMediaTime(sound.GetEnd()) : 0;
}

// By the container's time.
long long SourceCheck::EndOfAll() const
{
    if (pictures.empty())
        return sound.GetEnd();
    long long const step = lastPicture->frameRate > 0.0 ? static_cast<long long>(secondUs / lastPicture->frameRate) : 0;
    return std::max(sound.GetEnd(), pictures.back().time + step + source.GetOrigin());
}

void SourceCheck::ReadBackwards()
{
    auto const stream = source.OpenPictures();
    long long until = pictures.back().time + 1;
    while (stream && until > pictures.front().time && !watch.stop()) {
        std::vector<Picture> group;
        PictureStream::Picture picture;
        auto result = stream->ReadNear(until - 1, /*earliest=*/0, picture, watch.stop);
        for (; result == ReadResult::Got && picture->startTime < until; result = stream->Read(picture, watch.stop))
            group.push_back({picture->startTime, SumOf(*picture)});
        if (group.empty())
            break;
        Compare(group, until);
        until = group.front().time;
        ShowProgress("backwards", until);
    }
    for (Picture const& missed : pictures) {
        if (missed.time < until)
            Differ(missed.time);
    }
    JudgeDifferences();
}

// A group with what came forwards in the same time: both in order of time.
void SourceCheck::Compare(std::vector<Picture> const& group, long long until)
{
    auto const isEarlier = [](Picture const& picture, long long time) { return picture.time < time; };
    auto forwards = std::lower_bound(pictures.begin(), pictures.end(), group.front().time, isEarlier);
    auto const end = std::lower_bound(forwards, pictures.end(), until, isEarlier);
    for (Picture const& backwards : group) {
        for (; forwards != end && forwards->time < backwards.time; ++forwards)
            Differ(forwards->time);
        bool const isThere = forwards != end && forwards->time == backwards.time;
        if (!isThere || forwards->sum != backwards.sum)
            Differ(backwards.time);
        if (isThere)
            ++forwards;
    }
    for (; forwards != end; ++forwards)
        Differ(forwards->time);
}

// Of the picture that begins at `time`, where one does.
QString SourceCheck::NameOf(long long time) const
{
    auto const next = std::upper_bound(pictures.begin(), pictures.end(), time,
                                       [](long long at, Picture const& picture) { return at < picture.time; });
    return TimeText::PictureClock(time, next == pictures.end() ? time : next->time - 1);
}

void SourceCheck::AddFault(QString const& text, long long time, QString const& file)
{
    faults << CheckFault{text, time, file};
}

void SourceCheck::Differ(long long time)
{
    firstDifference = differences == 0 ? time : std::min(firstDifference, time);
    ++differences;
}

void SourceCheck::JudgeDifferences()
{
    if (differences > 0)
        AddFault(QStringLiteral("%1 not the same backwards as forwards, the first one at %2")
                     .arg(Counted(differences, "picture is", "pictures are"), NameOf(firstDifference)),
                 firstDifference);
}

void SourceCheck::ShowProgress(char const* direction, long long time) const
{
    watch.showProgress(QStringLiteral("%1: %2 of %3")
                           .arg(QLatin1String(direction), TimeText::Clock(std::max(time, 0LL)),
                                TimeText::Clock(std::max(0LL, source.GetDuration()))));
}

namespace {

// With fewer steps, the usual step is a guess.
constexpr size_t fewestSteps = 8;

// With a constant rate, at most one step in this many may be uneven.
constexpr size_t stepsForOneUneven = 20;

// Containers round both ends of a step to milliseconds.
constexpr long long roundingUs = 2000;

long long UsualOf(std::vector<long long> steps)
{
    auto const middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return *middle;
}

bool IsConstant(std::vector<long long> const& steps, long long usual)
{
    long long const tolerance = std::max(roundingUs, usual / 10);
    auto const uneven = static_cast<size_t>(std::count_if(
        steps.begin(), steps.end(), [&](long long step) { return std::llabs(step - usual) > tolerance; }));
    return steps.size() >= fewestSteps && uneven <= std::max<size_t>(1, steps.size() / stepsForOneUneven);
}

} // namespace

std::vector<PictureGaps::Gap> PictureGaps::Find(std::vector<long long> const& times)
{
    std::vector<long long> steps;
    for (size_t i = 1; i < times.size(); ++i)
        steps.push_back(times[i] - times[i - 1]);
    if (steps.empty())
        return {};
    long long const usual = UsualOf(steps);
    if (!IsConstant(steps, usual))
        return {};
    std::vector<Gap> gaps;
    for (size_t i = 1; i < steps.size(); ++i) {
        if (steps[i] > usual + usual / 2)
            gaps.push_back({times[i] + usual, steps[i] - usual});
    }
    return gaps;
}
