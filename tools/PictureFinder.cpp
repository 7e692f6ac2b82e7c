#include "tools/PictureFinder.h"

#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "tools/MediaSource.h"
#include "tools/SourceReader.h"

PictureFinder::PictureFinder(MediaSource const& newSource, SourceReader& newReader)
    : source(newSource), reader(newReader)
{}

PictureFinder::Result PictureFinder::Find(long long time)
{
    picture.reset();
    hasNext = false;
    hasOnePicture = source.GetInfo()->IsImage() || source.HasCoverOnly();
    if (hasOnePicture ? !reader.StartOver() : !reader.StartAt(time))
        return Result::CannotOpen;
    ReadUpTo(time);
    if (!picture)
        return Result::NoPicture;
    return !hasOnePicture && IsPastTheEnd(time) ? Result::PastTheEnd : Result::Found;
}

void PictureFinder::ReadUpTo(long long time)
{
    SourceReader::Records records;
    while (!(hasOnePicture && picture) && reader.Read(records)) {
        for (auto const& record : records.pictures) {
            if (!SourceReader::IsPicture(*record))
                continue;
            // The first picture also stands for the moment before it, in files whose times are rounded.
            hasNext = picture && record->startTime > time;
            if (hasNext)
                return;
            picture = record;
        }
        records = {};
    }
}

bool PictureFinder::IsPastTheEnd(long long time) const
{
    return !hasNext && time > picture->startTime && time >= source.EndOfLastPicture(*picture);
}
