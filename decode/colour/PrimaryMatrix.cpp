#include "decode/colour/PrimaryMatrix.h"

namespace {

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

// CIE 1931 xy coordinates.
struct Chromaticities
{
    double redX, redY, greenX, greenY, blueX, blueY, whiteX, whiteY;
};

constexpr double d65X = 0.3127;
constexpr double d65Y = 0.3290;
constexpr double illuminantCX = 0.310;
constexpr double illuminantCY = 0.316;

Chromaticities ChromaticitiesOf(AVColorPrimaries primaries)
{
    switch (primaries) {
    case AVCOL_PRI_BT470M:
        return {0.67, 0.33, 0.21, 0.71, 0.14, 0.08, illuminantCX, illuminantCY};
    case AVCOL_PRI_BT470BG:
        return {0.64, 0.33, 0.29, 0.60, 0.15, 0.06, d65X, d65Y};
    case AVCOL_PRI_SMPTE170M:
    case AVCOL_PRI_SMPTE240M:
        return {0.630, 0.340, 0.310, 0.595, 0.155, 0.070, d65X, d65Y};
    case AVCOL_PRI_FILM:
        return {0.681, 0.319, 0.243, 0.692, 0.145, 0.049, illuminantCX, illuminantCY};
    case AVCOL_PRI_BT2020:
        return {0.708, 0.292, 0.170, 0.797, 0.131, 0.046, d65X, d65Y};
    case AVCOL_PRI_SMPTE428:
        return {1.0, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0 / 3.0, 1.0 / 3.0};
    case AVCOL_PRI_SMPTE431:
        return {0.680, 0.320, 0.265, 0.690, 0.150, 0.060, 0.314, 0.351};
    case AVCOL_PRI_SMPTE432:
        return {0.680, 0.320, 0.265, 0.690, 0.150, 0.060, d65X, d65Y};
    case AVCOL_PRI_JEDEC_P22:
        return {0.630, 0.340, 0.295, 0.605, 0.155, 0.077, d65X, d65Y};
    default:
        return {0.640, 0.330, 0.300, 0.600, 0.150, 0.060, d65X, d65Y};
    }
}

Vector Product(Matrix const& matrix, Vector const& vector)
{
    Vector product{};
    for (size_t row = 0; row < 3; ++row)
        for (size_t i = 0; i < 3; ++i)
            product[row] += matrix[row][i] * vector[i];
    return product;
}

Matrix Product(Matrix const& left, Matrix const& right)
{
    Matrix product{};
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            for (size_t i = 0; i < 3; ++i)
                product[row][column] += left[row][i] * right[i][column];
    return product;
}

Matrix Inverse(Matrix const& m)
{
    auto const minor = [&m](size_t row, size_t column) {
        size_t const r0 = (row + 1) % 3, r1 = (row + 2) % 3, c0 = (column + 1) % 3, c1 = (column + 2) % 3;
        return m[r0][c0] * m[r1][c1] - m[r0][c1] * m[r1][c0];
    };
    double const determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
    Matrix inverse{};
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            inverse[row][column] = minor(column, row) / determinant;
    return inverse;
}

Vector WhiteOf(Chromaticities const& c)
{
    return {c.whiteX / c.whiteY, 1.0, (1.0 - c.whiteX - c.whiteY) / c.whiteY};
}

// The matrix from RGB to XYZ; equal amounts of red, green and blue make white.
Matrix ToXyz(Chromaticities const& c)
{
    Matrix const directions = {{{c.redX, c.greenX, c.blueX},
                                {c.redY, c.greenY, c.blueY},
                                {1.0 - c.redX - c.redY, 1.0 - c.greenX - c.greenY, 1.0 - c.blueX - c.blueY}}};
    Vector const amounts = Product(Inverse(directions), WhiteOf(c));
    Matrix matrix = directions;
    for (Vector& row : matrix)
        for (size_t column = 0; column < 3; ++column)
            row[column] *= amounts[column];
    return matrix;
}

Matrix Adaptation(Vector const& fromWhite, Vector const& toWhite)
{
    Matrix const bradford = {{{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
    Vector const from = Product(bradford, fromWhite);
    Vector const to = Product(bradford, toWhite);
    Matrix const scale = {{{to[0] / from[0], 0.0, 0.0}, {0.0, to[1] / from[1], 0.0}, {0.0, 0.0, to[2] / from[2]}}};
    return Product(Inverse(bradford), Product(scale, bradford));
}

} // namespace

PrimaryMatrix PrimaryMatrix::ToBt709(AVColorPrimaries from)
{
    Chromaticities const source = ChromaticitiesOf(from);
    Chromaticities const target = ChromaticitiesOf(AVCOL_PRI_BT709);
    PrimaryMatrix matrix;
    matrix.rows = Product(Inverse(ToXyz(target)), Product(Adaptation(WhiteOf(source), WhiteOf(target)), ToXyz(source)));
    return matrix;
}

std::array<double, 3> PrimaryMatrix::LuminanceOf(AVColorPrimaries primaries)
{
    return ToXyz(ChromaticitiesOf(primaries))[1];
}
