#include "tools/output/RgbPicture.h"

#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"

#include <algorithm>
#include <cmath>

namespace {

RgbPicture QuarterTurned(RgbPicture const& source)
{
    RgbPicture turned;
    turned.width = source.height;
    turned.height = source.width;
    turned.bytes.resize(source.bytes.size());
    uint8_t* target = turned.bytes.data();
    for (int y = 0; y < turned.height; ++y) {
        for (int x = 0; x < turned.width; ++x) {
            size_t const row = static_cast<size_t>(source.height - 1 - x);
            target = std::copy_n(&source.bytes[row * source.RowBytes() + 3 * static_cast<size_t>(y)], 3, target);
        }
    }
    return turned;
}

// The adjacent old pixels that one new pixel covers, and the weight of each.
struct Cover
{
    int first = 0;
    std::vector<float> shares;
};

std::vector<Cover> CoversOf(int oldSize, int newSize)
{
    double const scale = static_cast<double>(oldSize) / newSize;
    std::vector<Cover> covers(static_cast<size_t>(newSize));
    for (int i = 0; i < newSize; ++i) {
        double const begin = i * scale;
        double const end = std::min((i + 1) * scale, static_cast<double>(oldSize));
        Cover& cover = covers[static_cast<size_t>(i)];
        cover.first = static_cast<int>(begin);
        for (int old = cover.first; old < oldSize && old < end; ++old) {
            double const share = (std::min(end, old + 1.0) - std::max<double>(begin, old)) / (end - begin);
            cover.shares.push_back(static_cast<float>(share));
        }
    }
    return covers;
}

// Adds `share` of a row of old pixels to a row of new ones.
void AddRow(uint8_t const* old, std::vector<Cover> const& covers, float share, std::vector<float>& sums)
{
    float* sum = sums.data();
    for (Cover const& cover : covers) {
        uint8_t const* pixel = old + 3 * static_cast<size_t>(cover.first);
        for (float const part : cover.shares) {
            for (int component = 0; component < 3; ++component)
                sum[component] += share * part * static_cast<float>(*pixel++);
        }
        sum += 3;
    }
}

} // namespace

RgbPicture RgbPicture::FromRecord(DecodedVideoFrame const& record)
{
    RgbPicture picture;
    picture.width = record.width;
    picture.height = record.height;
    size_t const rowBytes = picture.RowBytes();
    auto const stride = static_cast<size_t>(PaddedRowBytes(record.width));
    picture.bytes.resize(rowBytes * static_cast<size_t>(record.height));
    for (size_t row = 0; row < static_cast<size_t>(record.height); ++row)
        std::copy_n(record.data + row * stride, rowBytes, picture.bytes.data() + row * rowBytes);
    return picture;
}

RgbPicture RgbPicture::TurnedClockwise(int degrees) const
{
    RgbPicture turned = *this;
    int const quarters = degrees % 90 == 0 ? (degrees / 90 % 4 + 4) % 4 : 0;
    for (int i = 0; i < quarters; ++i)
        turned = QuarterTurned(turned);
    return turned;
}

RgbPicture RgbPicture::ScaledTo(int newWidth, int newHeight) const
{
    RgbPicture scaled;
    scaled.width = newWidth;
    scaled.height = newHeight;
    scaled.bytes.resize(scaled.RowBytes() * static_cast<size_t>(newHeight));
    auto const columns = CoversOf(width, newWidth);
    uint8_t* target = scaled.bytes.data();
    for (Cover const& rows : CoversOf(height, newHeight)) {
        std::vector<float> sums(scaled.RowBytes());
        size_t row = static_cast<size_t>(rows.first);
        for (float const share : rows.shares)
            AddRow(&bytes[row++ * RowBytes()], columns, share, sums);
        target = std::transform(sums.begin(), sums.end(), target,
                                [](float sum) { return static_cast<uint8_t>(std::clamp(std::lround(sum), 0L, 255L)); });
    }
    return scaled;
}
