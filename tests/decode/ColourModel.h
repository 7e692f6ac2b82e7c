#pragma once

#include "media/FfmpegPtr.h"

#include <array>
#include <cstdint>
#include <vector>

// A reference conversion of decoded pictures by the standards, in double precision, without regard to speed.
namespace ColourModel {

using Rgb = std::array<double, 3>; // from 0 to 1, not clipped unless noted

// The weights of red and blue in the luma signal.
struct Weights
{
    double red;
    double blue;
};

constexpr Weights bt601{0.299, 0.114};
constexpr Weights bt709{0.2126, 0.0722};
constexpr Weights bt2020{0.2627, 0.0593};
constexpr Weights fcc{0.30, 0.11};
constexpr Weights smpte240{0.212, 0.087};

// The position of chroma samples in luma samples, relative to the left or upper luma sample.
struct Siting
{
    double across = 0.0;
    double down = 0.5;
};

struct Coding
{
    Weights weights = bt709;
    bool isFullRange = false;
    Siting siting;
    bool isInterlaced = false;
};

// Luma and chroma as stored in `depth` bits, not rounded.
std::array<double, 3> Encode(Rgb const& colour, Coding const& coding, int depth);
Rgb Decode(std::array<double, 3> const& samples, Coding const& coding, int depth);

// Converts a planar picture of 8 to 16 bits with bilinear chroma interpolation: rows of three values per pixel.
std::vector<double> Convert(AVFrame const& picture, Coding const& coding);

// The rounded byte of a value from 0 to 1.
uint8_t Byte(double value);

// The largest difference between bytes and the model's, and the PSNR in dB.
double LargestDifference(std::vector<uint8_t> const& rows, int stride, std::vector<double> const& model, int width,
                         int height);
double Psnr(std::vector<uint8_t> const& rows, int stride, std::vector<double> const& model, int width, int height);

// HDR to SDR: from the BT.2020 signal in PQ or HLG to the BT.709 signal for BT.1886, clipped.
Rgb PqToSdr(Rgb const& signal, double peak);
Rgb HlgToSdr(Rgb const& signal, double peak);
double PqOf(double luminance); // cd/m2

// Linear light from BT.2020 to BT.709 primaries (ITU-R BT.2087).
Rgb Bt2020ToBt709(Rgb const& light);

} // namespace ColourModel
