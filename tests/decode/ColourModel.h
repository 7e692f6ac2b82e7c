#pragma once

#include "media/FfmpegPtr.h"

#include <array>
#include <cstdint>
#include <vector>

// Decoded pictures as the standards say, in double precision and without any haste.
namespace ColourModel {

using Rgb = std::array<double, 3>; // from 0 to 1, not clipped unless said so

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

// Where the samples of chroma lie between those of luma, in distances of luma; 0: on the left or upper one.
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

// A planar picture of 8 to 16 bits, chroma interpolated between its four nearest samples: rows of three values a pixel.
std::vector<double> Convert(AVFrame const& picture, Coding const& coding);

// Bytes as they should be, of values from 0 to 1.
uint8_t Byte(double value);

// The highest difference between bytes and the model's, and how far apart they are altogether.
double LargestDifference(std::vector<uint8_t> const& rows, int stride, std::vector<double> const& model, int width,
                         int height);
double Psnr(std::vector<uint8_t> const& rows, int stride, std::vector<double> const& model, int width, int height);

// HDR to SDR: the signal of BT.2020 in PQ or HLG to that of BT.709 for BT.1886, clipped.
Rgb PqToSdr(Rgb const& signal, double peak);
Rgb HlgToSdr(Rgb const& signal, double peak);
double PqOf(double luminance); // cd/m2

// Between the primaries of BT.2020 and BT.709, linear light (ITU-R BT.2087).
Rgb Bt2020ToBt709(Rgb const& light);

} // namespace ColourModel
