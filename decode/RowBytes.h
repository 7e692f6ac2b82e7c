#pragma once

constexpr int bytesPerPixel = 3; // packed RGB

// Bytes per row of a record's packed RGB: 3 x width, rounded up to a multiple of 4.
constexpr int PaddedRowBytes(int width)
{
    return (bytesPerPixel * width + 3) / 4 * 4;
}
