#include "tools/output/PictureSamples.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/Source.h"
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

} // namespace

PictureSamples::PictureSamples(Source const& newSource) : source(newSource) {}

PictureSamples::Result PictureSamples::Take(TimeRange const& range, int count, Taker const& newTaker)
{
    taker = newTaker;
    lastStart = longAgo;
    auto const pictures = source.OpenPictures();
    if (!pictures)
        return Result::CannotOpen;
    if (source.HasOnePicture()) {
        times = {0};
        return TakeAll(*pictures);
    }
    long long const end = source.IsDurationTrusted() ? source.GetDuration() : FindEnd(*pictures);
    if (end < 0)
        return Result::NoPicture;
    long long const from = range.HasBegin() ? range.from : 0;
    long long const to = std::min(range.to, end);
    if (from >= to)
        return Result::NothingInRange;
    times = MiddlesOf(from, to, count);
    return TakeAll(*pictures);
}

PictureSamples::Result PictureSamples::TakeAll(PictureStream& pictures)
{
    PictureStream::Picture picture;
    for (size_t i = 0; i < times.size(); ++i) {
        bool const stillShows = picture && times[i] <= picture->endTime;
        if (!stillShows && pictures.ReadAt(times[i], picture) == ReadResult::Got)
            HandOver(picture);
        ShowProgress(i + 1);
    }
    damage = pictures.GetDamage();
    return lastStart == longAgo ? Result::NoPicture : Result::Done;
}

// Of a file that does not tell its length truly, by reading to it; -1 without a picture.
long long PictureSamples::FindEnd(PictureStream& pictures) const
{
    PictureStream::Picture last;
    for (PictureStream::Picture picture; pictures.Read(picture) == ReadResult::Got; last = picture)
        Console::ShowProgress(QStringLiteral("looking for the end: %1").arg(TimeText::Clock(picture->startTime)));
    return last ? source.EndOfLastPicture(*last) : -1;
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
