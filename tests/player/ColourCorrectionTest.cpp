#include "player/ColourCorrection.h"
#include "player/StreamColours.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

using Rgb = std::array<double, 3>; // 0 to 255

// The textbook formulas, written out anew: what a stream of these colours stores, and what a converter makes of it.
struct Coding
{
    double red;
    double blue;
    bool full;
};

Rgb Encode(Rgb rgb, Coding coding)
{
    double const green = 1.0 - coding.red - coding.blue;
    double const y = (coding.red * rgb[0] + green * rgb[1] + coding.blue * rgb[2]) / 255.0;
    double const cb = (rgb[2] / 255.0 - y) / (2.0 * (1.0 - coding.blue));
    double const cr = (rgb[0] / 255.0 - y) / (2.0 * (1.0 - coding.red));
    if (coding.full)
        return {255.0 * y, 128.0 + 255.0 * cb, 128.0 + 255.0 * cr};
    return {16.0 + 219.0 * y, 128.0 + 224.0 * cb, 128.0 + 224.0 * cr};
}

Rgb Decode(Rgb stored, Coding coding)
{
    double const y = coding.full ? stored[0] / 255.0 : (stored[0] - 16.0) / 219.0;
    double const cb = (stored[1] - 128.0) / (coding.full ? 255.0 : 224.0);
    double const cr = (stored[2] - 128.0) / (coding.full ? 255.0 : 224.0);
    double const red = y + 2.0 * (1.0 - coding.red) * cr;
    double const blue = y + 2.0 * (1.0 - coding.blue) * cb;
    double const green = (y - coding.red * red - coding.blue * blue) / (1.0 - coding.red - coding.blue);
    return {255.0 * red, 255.0 * green, 255.0 * blue};
}

bool IsInside(Rgb rgb)
{
    return std::all_of(rgb.begin(), rgb.end(), [](double value) { return value >= 0.0 && value <= 255.0; });
}

Rgb Rounded(Rgb rgb)
{
    for (double& value : rgb)
        value = std::round(std::clamp(value, 0.0, 255.0));
    return rgb;
}

constexpr Coding bt601Limited{0.299, 0.114, false};
constexpr Coding bt601Full{0.299, 0.114, true};
constexpr Coding bt709Limited{0.2126, 0.0722, false};
constexpr Coding bt709Full{0.2126, 0.0722, true};

// Every colour of a cube, coded, stored in 8 bits, converted as if it were `taken`, corrected: the largest error of one
// channel. Colours that the wrong conversion clips are left out.
int LargestError(StreamColours const& colours, Coding meant, Coding taken)
{
    ColourCorrection const correction(colours);
    int largest = 0;
    int checked = 0;
    for (int red = 0; red < 256; red += 15)
        for (int green = 0; green < 256; green += 15)
            for (int blue = 0; blue < 256; blue += 15) {
                Rgb const stored = Rounded(Encode({double(red), double(green), double(blue)}, meant));
                Rgb const converted = Decode(stored, taken);
                if (!IsInside(converted))
                    continue;
                Rgb const bytes = Rounded(converted);
                uint8_t const source[3] = {uint8_t(bytes[0]), uint8_t(bytes[1]), uint8_t(bytes[2])};
                uint8_t corrected[3];
                correction.Apply(source, corrected, 1);
                largest = std::max({largest, std::abs(corrected[0] - red), std::abs(corrected[1] - green),
                                    std::abs(corrected[2] - blue)});
                ++checked;
            }
    EXPECT_GT(checked, 1500);
    return largest;
}

StreamColours Colours(StreamColours::Matrix matrix, bool full, bool takenAsFull)
{
    StreamColours colours;
    colours.matrix = matrix;
    colours.isFullRange = full;
    colours.takenAsFullRange = takenAsFull;
    return colours;
}

} // namespace

TEST(ColourCorrectionTest, GivesBackWhatBt709Means)
{
    EXPECT_LE(LargestError(Colours(StreamColours::Matrix::Bt709, false, false), bt709Limited, bt601Limited), 3);
}

TEST(ColourCorrectionTest, GivesBackWhatFullRangeMeans)
{
    EXPECT_LE(LargestError(Colours(StreamColours::Matrix::Bt601, true, false), bt601Full, bt601Limited), 3);
    EXPECT_LE(LargestError(Colours(StreamColours::Matrix::Bt709, true, false), bt709Full, bt601Limited), 3);
}

TEST(ColourCorrectionTest, GivesBackWhatBt709MeansWhereTheRangeWasTakenRightly)
{
    EXPECT_LE(LargestError(Colours(StreamColours::Matrix::Bt709, true, true), bt709Full, bt601Full), 3);
}

TEST(ColourCorrectionTest, IsNeededForThatPrecision)
{
    // A green of BT.709 converted as BT.601 is far off: the check above means something.
    Rgb const converted = Decode(Encode({30, 200, 30}, bt709Limited), bt601Limited);
    EXPECT_GT(std::abs(converted[1] - 200.0), 10.0);
}

TEST(ColourCorrectionTest, LeavesBt601Alone)
{
    EXPECT_TRUE(ColourCorrection(StreamColours()).IsIdentity());
    EXPECT_TRUE(ColourCorrection(Colours(StreamColours::Matrix::Bt601, true, true)).IsIdentity());
    EXPECT_FALSE(ColourCorrection(Colours(StreamColours::Matrix::Bt709, false, false)).IsIdentity());
    uint8_t pixel[3] = {1, 128, 254};
    ColourCorrection().Apply(pixel, pixel, 1);
    EXPECT_EQ(pixel[0], 1);
    EXPECT_EQ(pixel[1], 128);
    EXPECT_EQ(pixel[2], 254);
}

TEST(ColourCorrectionTest, KeepsGreyGrey)
{
    ColourCorrection const correction(Colours(StreamColours::Matrix::Bt709, false, false));
    for (int grey = 0; grey < 256; ++grey) {
        uint8_t pixel[3] = {uint8_t(grey), uint8_t(grey), uint8_t(grey)};
        correction.Apply(pixel, pixel, 1);
        for (uint8_t const value : pixel)
            EXPECT_NEAR(value, grey, 1);
    }
}

TEST(ColourCorrectionTest, HoldsValuesToBytes)
{
    // Full range taken as limited makes the shades too strong; undone, 0 is above black and 255 below white.
    ColourCorrection const correction(Colours(StreamColours::Matrix::Bt601, true, false));
    uint8_t ends[6] = {0, 0, 0, 255, 255, 255};
    correction.Apply(ends, ends, 2);
    EXPECT_EQ(ends[0], 16);
    EXPECT_EQ(ends[3], 235);
    ColourCorrection const opposite(Colours(StreamColours::Matrix::Bt601, false, true));
    uint8_t beyond[6] = {0, 0, 0, 255, 255, 255};
    opposite.Apply(beyond, beyond, 2);
    EXPECT_EQ(beyond[0], 0);
    EXPECT_EQ(beyond[3], 255);
}
