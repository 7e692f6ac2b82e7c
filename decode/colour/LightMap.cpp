#include "decode/colour/LightMap.h"

#include "decode/colour/DisplayEncoder.h"
#include "decode/colour/PrimaryMatrix.h"
#include "decode/colour/ProcessorLoops.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

constexpr double referenceWhite = 203.0; // cd/m2
constexpr double hlgPeak = 1000.0;       // cd/m2, of the OOTF's display
constexpr double hlgGamma = 1.2;         // the OOTF's exponent for that display
constexpr double sdrGamma = 2.4;

// SMPTE ST 2084.
constexpr double m1 = 2610.0 / 16384.0;
constexpr double m2 = 2523.0 / 4096.0 * 128.0;
constexpr double c1 = 3424.0 / 4096.0;
constexpr double c2 = 2413.0 / 4096.0 * 32.0;
constexpr double c3 = 2392.0 / 4096.0 * 32.0;
constexpr double pqPeak = 10000.0;

double LuminanceOfPq(double value)
{
    double const root = std::pow(value, 1.0 / m2);
    return pqPeak * std::pow(std::max(root - c1, 0.0) / (c2 - c3 * root), 1.0 / m1);
}

double PqOfLuminance(double luminance)
{
    double const power = std::pow(luminance / pqPeak, m1);
    return std::pow((c1 + c2 * power) / (1.0 + c3 * power), m2);
}

// The inverse OETF of HLG (ITU-R BT.2100): scene light from 0 to 1.
double SceneOfHlg(double value)
{
    constexpr double a = 0.17883277;
    constexpr double b = 1.0 - 4.0 * a;
    double const c = 0.5 - a * std::log(4.0 * a);
    return value <= 0.5 ? value * value / 3.0 : (std::exp((value - c) / a) + b) / 12.0;
}

// The EETF of ITU-R BT.2390 with black unchanged, from `peak` to reference white; cd/m2 in and out.
double ToneMapped(double luminance, double peak)
{
    if (peak <= referenceWhite)
        return std::min(luminance, referenceWhite);
    double const top = PqOfLuminance(peak);
    double const highest = PqOfLuminance(referenceWhite) / top;
    double const knee = 1.5 * highest - 0.5;
    double const value = std::min(PqOfLuminance(luminance) / top, 1.0);
    if (value < knee)
        return luminance;
    double const t = (value - knee) / (1.0 - knee);
    double const t2 = t * t;
    double const t3 = t2 * t;
    double const bent =
        (2.0 * t3 - 3.0 * t2 + 1.0) * knee + (t3 - 2.0 * t2 + t) * (1.0 - knee) + (-2.0 * t3 + 3.0 * t2) * highest;
    return LuminanceOfPq(bent * top);
}

// Linear light of a value from 0 to 1, see LightMap::Tables.
double LightOf(double value, PictureColours const& colours)
{
    switch (colours.transfer) {
    case AVCOL_TRC_SMPTE2084:
        return ToneMapped(LuminanceOfPq(value), colours.peak) / referenceWhite;
    case AVCOL_TRC_ARIB_STD_B67:
        return SceneOfHlg(value);
    default:
        return std::pow(value, sdrGamma);
    }
}

constexpr int stretch = 64; // pixels; the intermediate values stay in the first-level cache

using Stretch = float[stretch];

TAVOLIN_INLINE void Mix(LightMap::Tables const& tables, size_t row, Stretch const* light, float* mixed)
{
    float const red = tables.columns[0][row];
    float const green = tables.columns[1][row];
    float const blue = tables.columns[2][row];
    for (int i = 0; i < stretch; ++i)
        mixed[i] = red * light[0][i] + green * light[1][i] + blue * light[2][i];
}

TAVOLIN_INLINE void MultiplyBy(float const* factors, float* values)
{
    for (int i = 0; i < stretch; ++i)
        values[i] *= factors[i];
}

// Converts scene light to display light: the OOTF multiplies by a power of the luminance.
TAVOLIN_INLINE void ShowScene(LightMap::Tables const& tables, Stretch* light)
{
    Stretch gains;
    Mix(tables, LightMap::luminanceRow, light, gains);
    tables.gains.LookUp(gains, stretch, gains);
    for (int component = 0; component < 3; ++component) {
        MultiplyBy(gains, light[component]);
        tables.toneMapped.LookUpNearest(light[component], stretch, light[component]);
    }
}

// Works in stretches, one operation at a time: all but the look-ups are vectorised.
template <bool isScene>
TAVOLIN_INLINE void ConvertLoop(LightMap::Tables const& tables, uint16_t const* const* rows, int count, uint8_t* target)
{
    constexpr unsigned mask = (1u << LightMap::depth) - 1u; // zimg writes no higher bits
    Stretch light[3] = {};
    Stretch mixed[3];
    for (int first = 0; first < count; first += stretch, target += 3 * stretch) {
        int const here = std::min(count - first, stretch);
        for (int component = 0; component < 3; ++component)
            for (int i = 0; i < here; ++i)
                light[component][i] = tables.light[rows[component][first + i] & mask];
        if constexpr (isScene)
            ShowScene(tables, light);
        for (size_t row = 0; row < 3; ++row)
            Mix(tables, row, light, mixed[row]);
        if (here == stretch) // a constant length for the compiler
            DisplayEncoder::ForGamma24().EncodeStretch(mixed[0], mixed[1], mixed[2], stretch, target);
        else
            DisplayEncoder::ForGamma24().EncodeStretch(mixed[0], mixed[1], mixed[2], here, target);
    }
}

TAVOLIN_BOTH(ConvertDisplay, (LightMap::Tables const& tables, uint16_t const* const* rows, int count, uint8_t* target),
             ConvertLoop<false>(tables, rows, count, target))
TAVOLIN_BOTH(ConvertScene, (LightMap::Tables const& tables, uint16_t const* const* rows, int count, uint8_t* target),
             ConvertLoop<true>(tables, rows, count, target))

} // namespace

std::unique_ptr<LightMap> LightMap::Make(PictureColours const& colours, bool toneMapping)
{
    if (colours.IsHdr() ? !toneMapping : !colours.HasOtherPrimaries())
        return nullptr;
    try {
        return std::unique_ptr<LightMap>(new LightMap(colours));
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

LightMap::LightMap(PictureColours const& colours) : made(colours)
{
    PrimaryMatrix const matrix = PrimaryMatrix::ToBt709(colours.primaries);
    std::array<double, 3> const luminance = PrimaryMatrix::LuminanceOf(colours.primaries);
    for (size_t column = 0; column < 3; ++column) {
        for (size_t row = 0; row < 3; ++row)
            tables.columns[column][row] = static_cast<float>(matrix.At(row, column));
        tables.columns[column][luminanceRow] = static_cast<float>(luminance[column]);
    }
    isScene = colours.transfer == AVCOL_TRC_ARIB_STD_B67;
    double const last = static_cast<double>(tables.light.size() - 1);
    for (size_t i = 0; i < tables.light.size(); ++i)
        tables.light[i] = static_cast<float>(LightOf(static_cast<double>(i) / last, colours));
    tables.gains.Fill([](double luminance) { return hlgPeak / referenceWhite * std::pow(luminance, hlgGamma - 1.0); });
    tables.toneMapped.Fill(
        [&](double light) { return ToneMapped(light * referenceWhite, colours.peak) / referenceWhite; });
}

bool LightMap::IsFor(PictureColours const& colours) const
{
    return made.transfer == colours.transfer && made.primaries == colours.primaries && made.peak == colours.peak;
}

void LightMap::Convert(uint16_t const* red, uint16_t const* green, uint16_t const* blue, int count,
                       uint8_t* target) const
{
    uint16_t const* const rows[] = {red, green, blue};
    if (isScene)
        TAVOLIN_BEST(ConvertScene)(tables, rows, count, target);
    else
        TAVOLIN_BEST(ConvertDisplay)(tables, rows, count, target);
}
