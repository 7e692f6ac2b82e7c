#pragma once

#include "tools/TimeRange.h"

#include <functional>
#include <limits>
#include <memory>
#include <vector>

class PictureStream;
class Source;
struct DecodedVideoFrame;

// Takes pictures at even distances out of a source: of a range of time cut into equal parts, the one that shows in the
// middle of each. A picture is taken once, so there may be fewer; a still image and cover art give their one picture.
class PictureSamples
{
public:
    enum class Result { Done, CannotOpen, NoPicture, NothingInRange };
    using Taker = std::function<void(std::shared_ptr<DecodedVideoFrame> const& picture)>;

    explicit PictureSamples(Source const& source); // which must outlive it

    // Hands the pictures over in order of time. `count`: at least 1.
    Result Take(TimeRange const& range, int count, Taker const& taker);

private:
    Result TakeAll(PictureStream& pictures);
    long long FindEnd(PictureStream& pictures) const;
    void HandOver(std::shared_ptr<DecodedVideoFrame> const& picture);
    void ShowProgress(size_t done) const;

    static constexpr long long longAgo = std::numeric_limits<long long>::min();

    Source const& source;
    Taker taker;
    std::vector<long long> times;  // microseconds from the first picture
    long long lastStart = longAgo; // of the picture handed over last
};
