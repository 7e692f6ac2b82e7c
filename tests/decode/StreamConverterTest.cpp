#include "decode/colour/StreamConverter.h"

#include "media/FfmpegBridge.h"
#include "tests/decode/ColourModel.h"
#include "tests/support/Reference.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr uint8_t guard = 0xa5;
constexpr size_t guardBytes = 256;

constexpr double mostDifference = 1.0;
constexpr double mostQuickDifference = 2.0;
constexpr double leastPsnr = 48.0;

using Samples = std::array<double, 3>;

FfmpegPtr<AVFrame> MakeFrame(int format, int width, int height)
{
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        throw std::bad_alloc();
    return frame;
}

// Sets component by component what `value` says for its plane, row and column, in integer samples of up to 16 bits.
void Paint(AVFrame& frame, std::function<double(int component, int row, int column)> const& value)
{
    AVPixFmtDescriptor const& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    bool const isRgb = (format.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    for (int component = 0; component < format.nb_components; ++component) {
        AVComponentDescriptor const& place = format.comp[component];
        bool const isChroma = !isRgb && (component == 1 || component == 2) && format.nb_components >= 3;
        int const rows = isChroma ? AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h) : frame.height;
        int const columns = isChroma ? AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w) : frame.width;
        for (int row = 0; row < rows; ++row)
            for (int column = 0; column < columns; ++column) {
                uint8_t* const at = frame.data[place.plane] +
                                    static_cast<ptrdiff_t>(row) * frame.linesize[place.plane] +
                                    static_cast<ptrdiff_t>(column) * place.step + place.offset;
                if ((format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0) {
                    auto const number = static_cast<float>(value(component, row, column));
                    std::memcpy(at, &number, sizeof number);
                    continue;
                }
                auto const number = static_cast<unsigned>(std::lround(value(component, row, column))) << place.shift;
                bool const isBigEndian = (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
                if (place.depth <= 8) {
                    *at = static_cast<uint8_t>(number);
                } else {
                    at[isBigEndian ? 1 : 0] = static_cast<uint8_t>(number & 0xff);
                    at[isBigEndian ? 0 : 1] = static_cast<uint8_t>(number >> 8);
                }
            }
    }
}

PictureScaler::Layout LayoutOf(AVFrame const& source, int outputWidth)
{
    PictureScaler::Layout layout;
    layout.width = source.width;
    layout.height = source.height;
    layout.format = source.format;
    layout.outputWidth = outputWidth;
    layout.outputHeight = source.height;
    layout.outputStride = RowBytes(outputWidth);
    return layout;
}

ColourSettings Exact()
{
    ColourSettings settings;
    settings.followStream = true;
    settings.exact = true;
    return settings;
}

// The rows of the converted picture; empty when it was not converted, or when bytes beside it were touched.
std::vector<uint8_t> Convert(StreamConverter& converter, AVFrame& source, int outputWidth, bool isLinear = false)
{
    PictureScaler::Layout const layout = LayoutOf(source, outputWidth);
    auto const size = static_cast<size_t>(layout.outputStride) * static_cast<size_t>(source.height);
    std::vector<uint8_t> target(size + 2 * guardBytes, guard);
    if (!converter.Convert(source, layout, isLinear, target.data() + guardBytes))
        return {};
    auto const first = target.begin() + guardBytes;
    auto const last = first + static_cast<ptrdiff_t>(size);
    auto const isGuard = [](uint8_t byte) { return byte == guard; };
    if (!std::all_of(target.begin(), first, isGuard) || !std::all_of(last, target.end(), isGuard))
        return {};
    return {first, last};
}

std::vector<uint8_t> ConvertExactly(AVFrame& source, int outputWidth = 0)
{
    StreamConverter converter;
    converter.SetSettings(Exact());
    return Convert(converter, source, outputWidth > 0 ? outputWidth : source.width);
}

std::vector<uint8_t> ConvertQuickly(AVFrame& source)
{
    StreamConverter converter;
    return Convert(converter, source, source.width);
}

struct Matrix
{
    char const* name;
    AVColorSpace tag;
    ColourModel::Weights weights;
};

constexpr Matrix matrices[] = {{"Bt709", AVCOL_SPC_BT709, ColourModel::bt709},
                               {"Bt470bg", AVCOL_SPC_BT470BG, ColourModel::bt601},
                               {"Smpte170m", AVCOL_SPC_SMPTE170M, ColourModel::bt601},
                               {"Smpte240m", AVCOL_SPC_SMPTE240M, ColourModel::smpte240},
                               {"Fcc", AVCOL_SPC_FCC, ColourModel::fcc},
                               {"Bt2020", AVCOL_SPC_BT2020_NCL, ColourModel::bt2020}};

std::ostream& operator<<(std::ostream& stream, Matrix const& matrix)
{
    return stream << matrix.name;
}

constexpr AVPixelFormat yuvFormats[] = {
    AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,     AV_PIX_FMT_YUV440P,
    AV_PIX_FMT_YUV410P,     AV_PIX_FMT_YUV411P,     AV_PIX_FMT_YUVA420P,    AV_PIX_FMT_YUVA444P,
    AV_PIX_FMT_NV12,        AV_PIX_FMT_NV21,        AV_PIX_FMT_YUYV422,     AV_PIX_FMT_UYVY422,
    AV_PIX_FMT_YUV420P9LE,  AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV420P12LE, AV_PIX_FMT_YUV420P14LE,
    AV_PIX_FMT_YUV420P16LE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV422P10BE, AV_PIX_FMT_YUV422P12LE,
    AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_YUV444P12BE, AV_PIX_FMT_YUV444P16LE, AV_PIX_FMT_YUVA444P12LE,
    AV_PIX_FMT_P010LE,      AV_PIX_FMT_P010BE,      AV_PIX_FMT_NV16,        AV_PIX_FMT_AYUV64LE};

// A colour all over the picture, in the nearest samples that code it.
Samples PaintColour(AVFrame& frame, ColourModel::Rgb const& colour, ColourModel::Coding const& coding)
{
    int const depth = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[0].depth;
    Samples samples = ColourModel::Encode(colour, coding, depth);
    for (double& sample : samples)
        sample = std::round(std::clamp(sample, 0.0, std::pow(2.0, depth) - 1.0));
    Paint(frame, [&](int component, int, int) { return component < 3 ? samples[static_cast<size_t>(component)] : 7.0; });
    return samples;
}

constexpr ColourModel::Rgb colours[] = {{0.0, 0.0, 0.0},
                                        {1.0, 1.0, 1.0},
                                        {0.5, 0.5, 0.5},
                                        {1.0, 0.0, 0.0},
                                        {0.0, 1.0, 0.0},
                                        {0.0, 0.0, 1.0},
                                        {200.0 / 255.0, 30.0 / 255.0, 60.0 / 255.0},
                                        {0.1, 0.6, 0.9},
                                        {0.95, 0.8, 0.05}};

class StreamConverterMatrixTest : public testing::TestWithParam<Matrix>
{};

std::string MatrixName(testing::TestParamInfo<Matrix> const& info)
{
    return info.param.name;
}

} // namespace

TEST_P(StreamConverterMatrixTest, ConvertsFlatColoursOfEveryLayoutAndRange)
{
    for (AVPixelFormat const format : yuvFormats) {
        int const depth = av_pix_fmt_desc_get(format)->comp[0].depth;
        for (bool const isFullRange : {false, true}) {
            ColourModel::Coding coding;
            coding.weights = GetParam().weights;
            coding.isFullRange = isFullRange;
            for (ColourModel::Rgb const& colour : colours) {
                auto const frame = MakeFrame(format, 32, 16);
                Samples const samples = PaintColour(*frame, colour, coding);
                frame->colorspace = GetParam().tag;
                frame->color_range = isFullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
                ColourModel::Rgb const expected = ColourModel::Decode(samples, coding, depth);
                std::vector<double> model;
                for (int i = 0; i < 32 * 16; ++i)
                    model.insert(model.end(), expected.begin(), expected.end());
                std::vector<uint8_t> const exact = ConvertExactly(*frame);
                std::vector<uint8_t> const quick = ConvertQuickly(*frame);
                ASSERT_FALSE(exact.empty() || quick.empty());
                std::string const name = av_get_pix_fmt_name(format);
                EXPECT_LE(ColourModel::LargestDifference(exact, 96, model, 32, 16), mostDifference)
                    << name << " full " << isFullRange << " " << colour[0] << ' ' << colour[1] << ' ' << colour[2];
                EXPECT_LE(ColourModel::LargestDifference(quick, 96, model, 32, 16), mostQuickDifference)
                    << name << " full " << isFullRange << " " << colour[0] << ' ' << colour[1] << ' ' << colour[2];
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, StreamConverterMatrixTest, testing::ValuesIn(matrices), MatrixName);
