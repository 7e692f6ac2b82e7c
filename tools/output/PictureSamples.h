#pragma once

#include "tools/commands/TimeRange.h"

#include <QVector>

#include <functional>
#include <limits>
#include <memory>
#include <vector>

class PictureStream;
class Source;
struct DecodedVideoFrame;

// Takes evenly spaced pictures from a source: divides a range of time into equal parts and takes the picture shown in
// the middle of each. No picture is taken twice, so there may be fewer. A still image and cover art give their one
// picture.
class PictureSamples
{
public:
    enum class Result { Done, CannotOpen, NoPicture, NothingInRange };
    using Taker = std::function<void(std::shared_ptr<DecodedVideoFrame> const& picture)>;

    explicit PictureSamples(Source const& source); // which must outlive it

    // Hands the pictures over in order of time. `count`: at least 1.
    Result Take(TimeRange const& range, int count, Taker const& taker);

    // Of what was taken: the times asked for, and where the stream was found damaged, beside them too.
    std::vector<long long> const& GetTimes() const { return times; }
    QVector<long long> const& GetDamage() const { return damage; }

private:
    Result TakeAll(PictureStream& pictures);
    long long FindEnd(PictureStream& pictures) const;
    void HandOver(std::shared_ptr<DecodedVideoFrame> const& picture);
    void ShowProgress(size_t done) const;

    static constexpr long long longAgo = std::numeric_limits<long long>::min();

    Source const& source;
    Taker taker;
    QVector<long long> damage;
    std::vector<long long> times;  // microseconds from the first picture
    long long lastStart = longAgo; // of the picture handed over last
};
