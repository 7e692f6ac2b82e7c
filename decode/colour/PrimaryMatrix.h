#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <array>
#include <cstddef>

// Converts linear light of one set of primaries to another (ITU-T H.273). White stays white, by Bradford adaptation.
class PrimaryMatrix
{
public:
    static PrimaryMatrix ToBt709(AVColorPrimaries from); // the identity for unknown primaries

    // The contributions of red, green and blue to the luminance of white, which is 1.
    static std::array<double, 3> LuminanceOf(AVColorPrimaries primaries);

    double At(size_t row, size_t column) const { return rows[row][column]; }

private:
    std::array<std::array<double, 3>, 3> rows{};
};
