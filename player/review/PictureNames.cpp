#include "player/review/PictureNames.h"

#include "common/TimeText.h"
#include "playback/PlaybackStatus.h"
#include "source/PictureIndex.h"

#include <algorithm>

namespace {

constexpr int decimals = 3;

} // namespace

PictureNames::PictureNames(PlaybackStatus const& status)
    : start(status.start),
      end(status.start + status.duration),
      hasPictures(status.width > 0),
      step(std::max(1LL, hasPictures ? status.frameStep : 1)),
      isSequence(status.kind == SourceKind::Sequence),
      firstNumber(status.firstNumber),
      index(status.index),
      startTimecode(Timecode::Parse(status.timecode, status.timecodeRate))
{
    if (startTimecode)
        picturesPerTimecode = Timecode::PicturesPerFrame(status.frameRate, status.timecodeRate);
    else
        startTimecode = Timecode::Zero(status.frameRate);
}

bool PictureNames::Has(Reading reading) const
{
    return reading == Reading::Time || (index && (reading == Reading::Number || startTimecode));
}

long long PictureNames::GetPictureCount() const
{
    return index ? index->GetCount() : 0;
}

QString PictureNames::WholeText() const
{
    return QString::number(isSequence ? firstNumber + GetPictureCount() - 1 : GetPictureCount());
}

std::optional<Timecode> PictureNames::TimecodeOf(long long number) const
{
    return startTimecode ? std::optional<Timecode>(startTimecode->Plus(number / picturesPerTimecode)) : std::nullopt;
}

std::optional<long long> PictureNames::NumberAt(long long time) const
{
    return index ? std::optional<long long>(firstNumber + index->NumberAt(time)) : std::nullopt;
}

// A name that reads back as the same picture. Without pictures moments need no such care.
QString PictureNames::TimeAt(long long time) const
{
    if (index)
        return TimeText::ShortPictureClock(StartOfPicture(time), EndOfPicture(time) - 1);
    return hasPictures ? TimeText::ShortPictureClock(time, time) : TimeText::ShortClock(time, decimals);
}

QString PictureNames::At(long long time, Reading reading) const
{
    if (!Has(reading))
        return {};
    if (reading == Reading::Time)
        return TimeAt(time);
    long long const number = index->NumberAt(time);
    return reading == Reading::Number ? QString("#%1").arg(firstNumber + number) : TimecodeOf(number)->ToText();
}

std::optional<long long> PictureNames::PicturesIn(long long from, long long to) const
{
    if (!index || to <= from)
        return std::nullopt;
    return index->NumberAt(to - 1) - index->NumberAt(from) + 1;
}

QString PictureNames::LengthText(long long from, long long to, Reading reading) const
{
    if (!Has(reading) || to <= from)
        return {};
    if (reading == Reading::Time)
        return TimeText::ShortClock(to - from, decimals);
    long long const pictures = *PicturesIn(from, to);
    if (reading == Reading::Number)
        return pictures == 1 ? QString("1 picture") : QString("%1 pictures").arg(pictures);
    long long const frames = (pictures + picturesPerTimecode - 1) / picturesPerTimecode;
    return startTimecode->Plus(frames - startTimecode->GetFrames()).ToText();
}

long long PictureNames::StartOfPicture(long long time) const
{
    return index ? index->TimeOf(index->NumberAt(time)) : time;
}

long long PictureNames::EndOfPicture(long long time) const
{
    return index ? std::max(index->EndOf(index->NumberAt(time)), time) + 1 : time + step;
}

long long PictureNames::LastPictureBefore(long long time) const
{
    return index ? StartOfPicture(time - 1) : std::max(start, time - step);
}

bool PictureNames::Contains(long long time) const
{
    return time >= start && (!HasDuration() || time < end);
}

PictureNames::Place PictureNames::Find(QString const& text, Reading usual) const
{
    QString const trimmed = text.trimmed();
    if (trimmed.startsWith('#'))
        return FindNumber(trimmed.mid(1));
    bool const isDigits = !trimmed.isEmpty() && std::all_of(trimmed.begin(), trimmed.end(), [](QChar character) {
        return character >= '0' && character <= '9';
    });
    if (isDigits && usual == Reading::Number)
        return FindNumber(trimmed);
    if (Timecode::IsMeantBy(trimmed))
        return FindTimecode(trimmed);
    return FindTime(trimmed);
}

PictureNames::Place PictureNames::FindNumber(QString const& digits) const
{
    bool isNumber = false;
    long long const number = digits.toLongLong(&isNumber);
    if (!isNumber || number < 0)
        return {{}, "A number follows \"#\"."};
    if (!index)
        return {{}, "The numbers of the pictures are not known."};
    if (number < firstNumber)
        return {{}, QString("The first picture is #%1.").arg(firstNumber)};
    if (number >= firstNumber + index->GetCount())
        return {{}, QString("The last picture is #%1.").arg(firstNumber + index->GetCount() - 1)};
    return {index->TimeOf(number - firstNumber), {}};
}

PictureNames::Place PictureNames::FindTimecode(QString const& text) const
{
    if (!Has(Reading::Timecode))
        return {{}, "The timecode of the pictures is not known."};
    auto const timecode = startTimecode->ParseAlike(text);
    if (!timecode)
        return {{}, QString("There is no timecode %1 here.").arg(text)};
    // Everything counts from the start, over midnight too.
    long long const frames = timecode->FramesSince(*startTimecode);
    long long const last = (index->GetCount() - 1) / picturesPerTimecode;
    if (frames > last)
        return {{},
                QString("The pictures are %1 to %2.").arg(startTimecode->ToText(), startTimecode->Plus(last).ToText())};
    return {index->TimeOf(frames * picturesPerTimecode), {}};
}

PictureNames::Place PictureNames::FindTime(QString const& text) const
{
    auto const time = TimeText::Parse(text);
    if (!time)
        return {{}, "A time (12.5, 1:02.5), a timecode (01:00:10:02) or #123, please."};
    if (*time < start)
        return {{}, QString("The file starts at %1.").arg(TimeText::ShortClock(start, decimals))};
    if (!Contains(*time))
        return {{}, QString("The file ends at %1.").arg(TimeText::ShortClock(end, decimals))};
    return {*time, {}};
}
