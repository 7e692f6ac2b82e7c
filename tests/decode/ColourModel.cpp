#include "tests/decode/ColourModel.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ColourModel {

namespace {

double Sample(AVFrame const& picture, AVPixFmtDescriptor const& format, int component, int row, int column)
{
    AVComponentDescriptor const& place = format.comp[component];
    uint8_t const* at = picture.data[place.plane] + static_cast<ptrdiff_t>(row) * picture.linesize[place.plane] +
                        static_cast<ptrdiff_t>(column) * place.step + place.offset;
    if (place.depth <= 8)
        return *at;
    bool const isBigEndian = (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
    return (isBigEndian ? at[0] << 8 | at[1] : at[1] << 8 | at[0]) >> place.shift;
}

// Interpolates the plane between four samples; outside it repeats its edge.
double Between(AVFrame const& picture, AVPixFmtDescriptor const& format, int component, double row, double column,
               int firstRow, int rowStep, int rows, int columns)
{
    auto const at = [&](double r, double c) {
        int const y = std::clamp(static_cast<int>(r), 0, rows - 1);
        int const x = std::clamp(static_cast<int>(c), 0, columns - 1);
        return Sample(picture, format, component, firstRow + y * rowStep, x);
    };
    double const top = std::floor(row);
    double const left = std::floor(column);
    double const down = row - top;
    double const across = column - left;
    return (1.0 - down) * ((1.0 - across) * at(top, left) + across * at(top, left + 1.0)) +
           down * ((1.0 - across) * at(top + 1.0, left) + across * at(top + 1.0, left + 1.0));
}

double PqToLuminance(double value)
{
    double const m1 = 0.1593017578125, m2 = 78.84375, c1 = 0.8359375, c2 = 18.8515625, c3 = 18.6875;
    double const power = std::pow(value, 1.0 / m2);
    return 10000.0 * std::pow(std::max(power - c1, 0.0) / (c2 - c3 * power), 1.0 / m1);
}

// ITU-R BT.2390, 5.4.1, with black at 0 on both sides.
double Eetf(double luminance, double peak)
{
    double const white = 203.0;
    if (peak <= white)
        return std::min(luminance, white);
    double const e1 = std::min(PqOf(luminance) / PqOf(peak), 1.0);
    double const maxLum = PqOf(white) / PqOf(peak);
    double const ks = 1.5 * maxLum - 0.5;
    if (e1 < ks)
        return luminance;
    double const t = (e1 - ks) / (1.0 - ks);
    double const e2 = (2 * t * t * t - 3 * t * t + 1) * ks + (t * t * t - 2 * t * t + t) * (1 - ks) +
                      (-2 * t * t * t + 3 * t * t) * maxLum;
    return PqToLuminance(e2 * PqOf(peak));
}

Rgb ToSdr(Rgb light, double peak)
{
    for (double& component : light)
        component = Eetf(component, peak) / 203.0;
    Rgb sdr = Bt2020ToBt709(light);
    for (double& component : sdr)
        component = std::pow(std::clamp(component, 0.0, 1.0), 1.0 / 2.4);
    return sdr;
}

} // namespace

std::array<double, 3> Encode(Rgb const& colour, Coding const& coding, int depth)
{
    Weights const w = coding.weights;
    double const luma = w.red * colour[0] + (1.0 - w.red - w.blue) * colour[1] + w.blue * colour[2];
    double const blue = (colour[2] - luma) / (2.0 * (1.0 - w.blue));
    double const red = (colour[0] - luma) / (2.0 * (1.0 - w.red));
    double const unit = std::pow(2.0, depth - 8);
    double const last = std::pow(2.0, depth) - 1.0;
    if (coding.isFullRange)
        return {luma * last, blue * last + 128.0 * unit, red * last + 128.0 * unit};
    return {(219.0 * luma + 16.0) * unit, (224.0 * blue + 128.0) * unit, (224.0 * red + 128.0) * unit};
}

Rgb Decode(std::array<double, 3> const& samples, Coding const& coding, int depth)
{
    Weights const w = coding.weights;
    double const unit = std::pow(2.0, depth - 8);
    double const last = std::pow(2.0, depth) - 1.0;
    double const luma = coding.isFullRange ? samples[0] / last : (samples[0] / unit - 16.0) / 219.0;
    double const scale = coding.isFullRange ? last : 224.0 * unit;
    double const blue = (samples[1] - 128.0 * unit) / scale;
    double const red = (samples[2] - 128.0 * unit) / scale;
    double const r = luma + 2.0 * (1.0 - w.red) * red;
    double const b = luma + 2.0 * (1.0 - w.blue) * blue;
    return {r, (luma - w.red * r - w.blue * b) / (1.0 - w.red - w.blue), b};
}

std::vector<double> Convert(AVFrame const& picture, Coding const& coding)
{
    AVPixFmtDescriptor const& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    int const columns = AV_CEIL_RSHIFT(picture.width, format.log2_chroma_w);
    int const rows = AV_CEIL_RSHIFT(picture.height, format.log2_chroma_h);
    int const step = coding.isInterlaced ? 2 : 1;
    double const stepAcross = 1 << format.log2_chroma_w;
    double const stepDown = 1 << format.log2_chroma_h;
    std::vector<double> pixels;
    for (int y = 0; y < picture.height; ++y) {
        int const field = coding.isInterlaced ? y % 2 : 0;
        int const fieldRows = (rows - field + step - 1) / step;
        // The chroma sample's distance below the row of its field: 1/4 row in the first field, 3/4 in the second.
        double const down = !coding.isInterlaced ? coding.siting.down : field == 0 ? 0.25 : 0.75;
        for (int x = 0; x < picture.width; ++x) {
            double const row = stepDown > 1.0 ? (y / step - down) / stepDown : y / step;
            double const column = stepAcross > 1.0 ? (x - coding.siting.across) / stepAcross : x;
            std::array<double, 3> samples{Sample(picture, format, 0, y, x), 0.0, 0.0};
            for (int i = 1; i < 3; ++i)
                samples[static_cast<size_t>(i)] =
                    Between(picture, format, i, row, column, field, step, fieldRows, columns);
            Rgb const colour = Decode(samples, coding, format.comp[0].depth);
            pixels.insert(pixels.end(), colour.begin(), colour.end());
        }
    }
    return pixels;
}

uint8_t Byte(double value)
{
    return static_cast<uint8_t>(std::floor(255.0 * std::clamp(value, 0.0, 1.0) + 0.5));
}

double LargestDifference(std::vector<uint8_t> const& rows, int stride, std::vector<double> const& model, int width,
                         int height)
{
    double largest = 0.0;
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < 3 * width; ++i) {
            int const expected =
                Byte(model[static_cast<size_t>(y) * 3 * static_cast<size_t>(width) + static_cast<size_t>(i)]);
            int const found = rows[static_cast<size_t>(y) * static_cast<size_t>(stride) + static_cast<size_t>(i)];
            largest = std::max(largest, static_cast<double>(std::abs(found - expected)));
        }
    return largest;
}

double Psnr(std::vector<uint8_t> const& rows, int stride, std::vector<double> const& model, int width, int height)
{
    double sum = 0.0;
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < 3 * width; ++i) {
            double const value =
                model[static_cast<size_t>(y) * 3 * static_cast<size_t>(width) + static_cast<size_t>(i)];
            double const expected = 255.0 * std::clamp(value, 0.0, 1.0);
            double const found = rows[static_cast<size_t>(y) * static_cast<size_t>(stride) + static_cast<size_t>(i)];
            sum += (found - expected) * (found - expected);
        }
    return 10.0 * std::log10(255.0 * 255.0 / (sum / (3.0 * width * height)));
}

double PqOf(double luminance)
{
    double const power = std::pow(luminance / 10000.0, 2610.0 / 16384.0);
    return std::pow((0.8359375 + 18.8515625 * power) / (1.0 + 18.6875 * power), 78.84375);
}

Rgb Bt2020ToBt709(Rgb const& light)
{
    return {1.6605 * light[0] - 0.5876 * light[1] - 0.0728 * light[2],
            -0.1246 * light[0] + 1.1329 * light[1] - 0.0083 * light[2],
            -0.0182 * light[0] - 0.1006 * light[1] + 1.1187 * light[2]};
}

Rgb PqToSdr(Rgb const& signal, double peak)
{
    return ToSdr({PqToLuminance(signal[0]), PqToLuminance(signal[1]), PqToLuminance(signal[2])}, peak);
}

Rgb HlgToSdr(Rgb const& signal, double peak)
{
    Rgb scene{};
    for (size_t i = 0; i < 3; ++i)
        scene[i] = signal[i] <= 0.5 ? signal[i] * signal[i] / 3.0
                                    : (std::exp((signal[i] - 0.55991073) / 0.17883277) + 0.28466892) / 12.0;
    double const luminance = 0.2627 * scene[0] + 0.6780 * scene[1] + 0.0593 * scene[2];
    double const gain = 1000.0 * std::pow(luminance, 0.2);
    return ToSdr({gain * scene[0], gain * scene[1], gain * scene[2]}, peak);
}

} // namespace ColourModel
