#include "tools/report/PictureCount.h"

#include "decode/DecodedVideoFrame.h"
#include "source/PictureIndexReader.h"
#include "source/Source.h"

namespace {

// The first pictures, of which decoding tells whether the index is true. Decoding so many is quicker than reading most
// files.
constexpr long long firstPictures = 32;

std::optional<long long> CountUpTo(Source const& source, long long number, long long& count)
{
    count = 0;
    auto const pictures = source.OpenPictures();
    PictureStream::Picture picture;
    while (pictures && pictures->Read(picture) == ReadResult::Got) {
        if (count++ == number)
            return picture->startTime;
    }
    return std::nullopt;
}

bool BeginsAsDecoded(PictureIndex const& index, Source const& source)
{
    auto const pictures = source.OpenPictures();
    PictureStream::Picture picture;
    long long count = 0;
    for (; pictures && count < firstPictures && pictures->Read(picture) == ReadResult::Got; ++count) {
        if (!index.Has(picture->startTime, picture->endTime))
            return false;
    }
    return count > 0;
}

} // namespace

std::shared_ptr<PictureIndex const> PictureCount::ReadIndex(Source const& source)
{
    auto const index = ReadPictureIndex(source);
    bool const isArithmetic = source.GetKind() != SourceKind::Movie;
    return index && (isArithmetic || BeginsAsDecoded(*index, source)) ? index : nullptr;
}

std::optional<long long> PictureCount::Of(Source const& source)
{
    auto const index = ReadIndex(source);
    return index ? std::optional(index->GetCount()) : std::nullopt;
}

std::optional<long long> PictureCount::TimeOf(Source const& source, long long number, long long& count)
{
    bool const isNear = number < firstPictures && source.GetKind() == SourceKind::Movie;
    auto const index = isNear ? nullptr : ReadIndex(source);
    if (!index)
        return CountUpTo(source, number, count);
    count = index->GetCount();
    return number < count ? std::optional(index->TimeOf(number)) : std::nullopt;
}
