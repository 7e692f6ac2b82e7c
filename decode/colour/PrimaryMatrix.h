#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <array>
#include <cstddef>

// What turns linear light of red, green and blue of some primaries into that of others (ITU-T H.273). White stays
// white, by the adaptation of Bradford.
class PrimaryMatrix
{
public:
    static PrimaryMatrix ToBt709(AVColorPrimaries from); // nothing changes for unknown ones

    // How much red, green and blue add to the luminance of white, which is 1.
    static std::array<double, 3> LuminanceOf(AVColorPrimaries primaries);

    double At(size_t row, size_t column) const { return rows[row][column]; }

private:
    std::array<std::array<double, 3>, 3> rows{};
};
