#pragma once

// Bytes per row of a record's packed RGB: 3 x width, rounded up to a multiple of 4.
constexpr int PaddedRowBytes(int width)
{
    return (3 * width + 3) / 4 * 4;
}
