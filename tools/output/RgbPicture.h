#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct DecodedVideoFrame;

// A picture of packed 24-bit RGB, rows without padding.
struct RgbPicture
{
    int width = 0;
    int height = 0;
    std::vector<uint8_t> bytes;

    static RgbPicture FromRecord(DecodedVideoFrame const& record);

    // By whole quarters only: other angles give the picture as it is.
    RgbPicture TurnedClockwise(int degrees) const;

    // At another size of at least one pixel: each pixel is the mean of what it covers.
    RgbPicture ScaledTo(int newWidth, int newHeight) const;

    size_t RowBytes() const { return 3 * static_cast<size_t>(width); }
};
