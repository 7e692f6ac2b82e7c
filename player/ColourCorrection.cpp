#include "player/ColourCorrection.h"

#include "player/StreamColours.h"

#include <algorithm>
#include <cmath>

namespace {

using Matrix3 = std::array<double, 9>;
using Vector3 = std::array<double, 3>;

struct Weights
{
    double red;
    double blue;
};

// Luma and colour differences as stored, all from 0 to 1: stored = scale x signal + base.
struct Range
{
    double lumaScale;
    double lumaBase;
    double differenceScale;
    double differenceBase;
};

constexpr Range limitedRange{219.0 / 255.0, 16.0 / 255.0, 224.0 / 255.0, 128.0 / 255.0};
constexpr Range fullRange{1.0, 0.0, 1.0, 128.0 / 255.0};

Weights WeightsOf(StreamColours::Matrix matrix)
{
    switch (matrix) {
    case StreamColours::Matrix::Bt709:
        return {0.2126, 0.0722};
    case StreamColours::Matrix::Bt2020:
        return {0.2627, 0.0593};
    case StreamColours::Matrix::Bt601:
        break;
    }
    return {0.299, 0.114};
}

Matrix3 RgbToSignal(Weights weights)
{
    double const green = 1.0 - weights.red - weights.blue;
    double const blueDifference = 0.5 / (1.0 - weights.blue);
    double const redDifference = 0.5 / (1.0 - weights.red);
    return {weights.red, green, weights.blue,           -weights.red * blueDifference, -green * blueDifference,
            0.5,         0.5,   -green * redDifference, -weights.blue * redDifference};
}

Matrix3 SignalToRgb(Weights weights)
{
    double const green = 1.0 - weights.red - weights.blue;
    double const red = 2.0 * (1.0 - weights.red);
    double const blue = 2.0 * (1.0 - weights.blue);
    return {1.0, 0.0, red, 1.0, -blue * weights.blue / green, -red * weights.red / green, 1.0, blue, 0.0};
}

Matrix3 Product(Matrix3 const& left, Matrix3 const& right)
{
    Matrix3 product{};
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            for (size_t i = 0; i < 3; ++i)
                product[3 * row + column] += left[3 * row + i] * right[3 * i + column];
    return product;
}

Vector3 Product(Matrix3 const& left, Vector3 const& right)
{
    Vector3 product{};
    for (size_t row = 0; row < 3; ++row)
        for (size_t i = 0; i < 3; ++i)
            product[row] += left[3 * row + i] * right[i];
    return product;
}

} // namespace

ColourCorrection::ColourCorrection() : matrix{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}, offset{}
{
    MakeTables();
}

ColourCorrection::ColourCorrection(StreamColours const& colours) : ColourCorrection()
{
    if (colours.matrix == StreamColours::Matrix::Bt601 && colours.isFullRange == colours.takenAsFullRange)
        return;
    Range const taken = colours.takenAsFullRange ? fullRange : limitedRange;
    Range const meant = colours.isFullRange ? fullRange : limitedRange;

    // Signal as meant = (signal as taken x scale of taken + base of taken - base of meant) / scale of meant.
    double const luma = taken.lumaScale / meant.lumaScale;
    double const difference = taken.differenceScale / meant.differenceScale;
    Matrix3 const rescale = {luma, 0.0, 0.0, 0.0, difference, 0.0, 0.0, 0.0, difference};
    Vector3 const shift = {(taken.lumaBase - meant.lumaBase) / meant.lumaScale,
                           (taken.differenceBase - meant.differenceBase) / meant.differenceScale,
                           (taken.differenceBase - meant.differenceBase) / meant.differenceScale};

    Matrix3 const toRgb = SignalToRgb(WeightsOf(colours.matrix));
    Matrix3 const undo = RgbToSignal(WeightsOf(StreamColours::Matrix::Bt601));
    Matrix3 const whole = Product(toRgb, Product(rescale, undo));
    Vector3 const wholeShift = Product(toRgb, shift);
    std::copy(whole.begin(), whole.end(), matrix.begin());
    std::copy(wholeShift.begin(), wholeShift.end(), offset.begin());
    MakeTables();
}

bool ColourCorrection::IsIdentity() const
{
    return matrix == std::array{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f} &&
           offset == std::array{0.0f, 0.0f, 0.0f};
}

std::array<float, 9> const& ColourCorrection::GetMatrix() const
{
    return matrix;
}

std::array<float, 3> const& ColourCorrection::GetOffset() const
{
    return offset;
}

void ColourCorrection::MakeTables()
{
    for (size_t target = 0; target < 3; ++target)
        for (size_t source = 0; source < 3; ++source)
            for (size_t value = 0; value < 256; ++value) {
                double const base = source == 0 ? 255.0 * static_cast<double>(offset[target]) + 0.5 : 0.0; // rounds
                double const share = static_cast<double>(matrix[3 * target + source]) * static_cast<double>(value);
                tables[target][source][value] = static_cast<int32_t>(std::lround((share + base) * 65536.0));
            }
}

void ColourCorrection::Apply(uint8_t const* source, uint8_t* target, int pixels) const
{
    for (int i = 0; i < pixels; ++i, source += 3, target += 3) {
        uint8_t const red = source[0];
        uint8_t const green = source[1];
        uint8_t const blue = source[2];
        for (size_t channel = 0; channel < 3; ++channel) {
            auto const& table = tables[channel];
            int32_t const sum = (table[0][red] + table[1][green] + table[2][blue]) >> 16;
            target[channel] = static_cast<uint8_t>(std::clamp(sum, 0, 255));
        }
    }
}
