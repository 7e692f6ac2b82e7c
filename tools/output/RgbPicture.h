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

    // Only by multiples of 90; any other angle returns the picture unchanged.
    RgbPicture TurnedClockwise(int degrees) const;

    // Scaled to another size, at least 1 x 1: each pixel is the mean of the area that it covers.
    RgbPicture ScaledTo(int newWidth, int newHeight) const;

    size_t RowBytes() const { return 3 * static_cast<size_t>(width); }
};
