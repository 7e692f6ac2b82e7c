#include "tools/RgbPicture.h"

#include "decode/DecodedVideoFrame.h"

#include <algorithm>

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

} // namespace

RgbPicture RgbPicture::FromRecord(DecodedVideoFrame const& record)
{
    RgbPicture picture;
    picture.width = record.width;
    picture.height = record.height;
    size_t const rowBytes = picture.RowBytes();
    size_t const stride = (rowBytes + 3) / 4 * 4;
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
