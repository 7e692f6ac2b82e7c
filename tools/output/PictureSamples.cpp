#include "tools/output/PictureSamples.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/MediaSource.h"
#include "tools/PictureFinder.h"
#include "tools/SourceReader.h"
#include "tools/report/Console.h"

#include <algorithm>

namespace {

std::vector<long long> MiddlesOf(long long from, long long to, int count)
{
    double const part = static_cast<double>(to - from) / count;
    std::vector<long long> middles;
    middles.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        middles.push_back(from + static_cast<long long>((i + 0.5) * part));
    return middles;
}

// Calls `take` with every picture from the beginning on, until it answers false. False when nothing opens.
bool ReadPictures(MediaSource const& source, std::function<bool(std::shared_ptr<DecodedVideoFrame> const&)> const& take)
{
    SourceReader reader(source);
    if (!reader.StartOver())
        return false;
    SourceReader::Records records;
    while (reader.Read(records)) {
        for (auto const& picture : records.pictures) {
            if (SourceReader::IsPicture(*picture) && !take(picture))
                return true;
        }
        records = {};
    }
    return true;
}

} // namespace

PictureSamples::PictureSamples(MediaSource const& newSource) : source(newSource) {}

PictureSamples::Result PictureSamples::Take(TimeRange const& range, int count, Taker const& newTaker)
{
    taker = newTaker;
    lastStart = longAgo;
    if (source.GetInfo()->IsImage() || source.HasCoverOnly())
        return TakeOnly();
    long long end = source.GetInfo()->GetDuration();
    Result const found = source.CanSeek() ? Result::Done : FindEnd(end);
    if (found != Result::Done)
        return found;
    long long const from = range.HasBegin() ? range.from : 0;
    long long const to = std::min(range.to, end);
    if (from >= to)
        return Result::NothingInRange;
    times = MiddlesOf(from, to, count);
    return source.CanSeek() ? TakeBySeeking() : TakeByReading();
}

PictureSamples::Result PictureSamples::TakeOnly()
{
    SourceReader reader(source);
    PictureFinder finder(source, reader);
    switch (finder.Find(0)) {
    case PictureFinder::Result::CannotOpen:
        return Result::CannotOpen;
    case PictureFinder::Result::NoPicture:
        return Result::NoPicture;
    default:
        HandOver(finder.GetPicture());
        return Result::Done;
    }
}

PictureSamples::Result PictureSamples::TakeBySeeking()
{
    SourceReader reader(source);
    PictureFinder finder(source, reader);
    for (size_t i = 0; i < times.size(); ++i) {
        if (finder.Find(times[i]) == PictureFinder::Result::CannotOpen)
            return Result::CannotOpen;
        if (finder.GetPicture())
            HandOver(finder.GetPicture());
        ShowProgress(i + 1);
    }
    return lastStart == longAgo ? Result::NoPicture : Result::Done;
}

// Where seeks cannot be trusted each one would mean reading from the beginning, so all is read once.
PictureSamples::Result PictureSamples::TakeByReading()
{
    std::shared_ptr<DecodedVideoFrame> showing;
    size_t next = 0;
    bool const isOpen = ReadPictures(source, [&](std::shared_ptr<DecodedVideoFrame> const& picture) {
        for (; showing && next < times.size() && times[next] < picture->startTime; ++next)
            HandOver(showing);
        showing = picture;
        ShowProgress(next);
        return next < times.size();
    });
    if (showing && next < times.size())
        HandOver(showing);
    if (!isOpen)
        return Result::CannotOpen;
    return lastStart == longAgo ? Result::NoPicture : Result::Done;
}

// Such files seldom tell their length.
PictureSamples::Result PictureSamples::FindEnd(long long& end)
{
    std::shared_ptr<DecodedVideoFrame> last;
    bool const isOpen = ReadPictures(source, [&](std::shared_ptr<DecodedVideoFrame> const& picture) {
        last = picture;
        Console::ShowProgress(QStringLiteral("looking for the end: %1").arg(TimeText::Clock(picture->startTime)));
        return true;
    });
    if (!isOpen)
        return Result::CannotOpen;
    if (!last)
        return Result::NoPicture;
    end = source.EndOfLastPicture(*last);
    return Result::Done;
}

void PictureSamples::HandOver(std::shared_ptr<DecodedVideoFrame> const& picture)
{
    if (picture->startTime <= lastStart)
        return;
    lastStart = picture->startTime;
    taker(picture);
}

void PictureSamples::ShowProgress(size_t done) const
{
    Console::ShowProgress(QStringLiteral("picture %1 of %2").arg(done).arg(times.size()));
}
