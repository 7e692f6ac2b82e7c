#include "decode/colour/StreamConverter.h"

#include "media/FfmpegBridge.h"
#include "tests/decode/ColourModel.h"
#include "tests/decode/FormatFamily.h"
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

// Byte steps. A value near a half may be rounded either way. libswscale's quick converter adds up to three terms, each
// rounded to a byte, which gives up to 1.5 steps.
constexpr double mostDifference = 1.0;
constexpr double mostQuickDifference = 2.0;

// dB. Rounding to bytes alone gives 10 log10(12 x 255^2) = 58.9, a wrong chroma location 39.6 or less.
constexpr double leastPsnr = 58.0;

using PixelSamples = std::array<double, 3>;

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

// Sets each sample to `value` of its component, row and column: integers of up to 16 bits, or floats.
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

ColourSettings Exact()
{
    ColourSettings settings;
    settings.followStream = true;
    settings.exact = true;
    return settings;
}

// The rows of the converted picture; empty when it was not converted or bytes beside it have changed.
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

struct ColourMatrix
{
    char const* name;
    AVColorSpace tag;
    ColourModel::Weights weights;
};

constexpr ColourMatrix matrices[] = {{"Bt709", AVCOL_SPC_BT709, ColourModel::bt709},
                                     {"Bt470bg", AVCOL_SPC_BT470BG, ColourModel::bt601},
                                     {"Smpte170m", AVCOL_SPC_SMPTE170M, ColourModel::bt601},
                                     {"Smpte240m", AVCOL_SPC_SMPTE240M, ColourModel::smpte240},
                                     {"Fcc", AVCOL_SPC_FCC, ColourModel::fcc},
                                     {"Bt2020", AVCOL_SPC_BT2020_NCL, ColourModel::bt2020}};

std::ostream& operator<<(std::ostream& stream, ColourMatrix const& matrix)
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

// Fills the picture with a colour, in the nearest samples.
PixelSamples PaintColour(AVFrame& frame, ColourModel::Rgb const& colour, ColourModel::Coding const& coding)
{
    int const depth = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[0].depth;
    PixelSamples samples = ColourModel::Encode(colour, coding, depth);
    for (double& sample : samples)
        sample = std::round(std::clamp(sample, 0.0, std::pow(2.0, depth) - 1.0));
    Paint(frame,
          [&](int component, int, int) { return component < 3 ? samples[static_cast<size_t>(component)] : 7.0; });
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

class StreamConverterMatrixTest : public testing::TestWithParam<ColourMatrix>
{};

std::string MatrixName(testing::TestParamInfo<ColourMatrix> const& info)
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
                PixelSamples const samples = PaintColour(*frame, colour, coding);
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

namespace {

struct Location
{
    char const* name;
    AVChromaLocation tag;
    ColourModel::Siting siting;
};

constexpr Location locations[] = {{"Left", AVCHROMA_LOC_LEFT, {0.0, 0.5}},
                                  {"Center", AVCHROMA_LOC_CENTER, {0.5, 0.5}},
                                  {"TopLeft", AVCHROMA_LOC_TOPLEFT, {0.0, 0.0}},
                                  {"Top", AVCHROMA_LOC_TOP, {0.5, 0.0}},
                                  {"BottomLeft", AVCHROMA_LOC_BOTTOMLEFT, {0.0, 1.0}},
                                  {"Bottom", AVCHROMA_LOC_BOTTOM, {0.5, 1.0}}};

std::ostream& operator<<(std::ostream& stream, Location const& location)
{
    return stream << location.name;
}

// Smooth changes of colour with hard edges, all inside the gamut; `scale` converts 8 bits to the format's depth. With
// `isInterlaced` the fields differ, as those of moving objects do.
double SceneSample(int component, int row, int column, double scale, bool isInterlaced)
{
    int const shift = isInterlaced && row % 2 == 1 ? 5 : 0;
    if (component == 0)
        return (110.0 + 20.0 * std::sin(0.3 * column) + 10.0 * std::cos(0.2 * row)) * scale;
    bool const isInside = (column + shift) / 6 % 2 == 0 && row / 8 % 2 == 0;
    double const soft = 15.0 * std::sin(0.15 * (column + shift) + component) * std::cos(0.1 * row);
    return (128.0 + soft + (isInside ? 20.0 : -10.0)) * scale;
}

void PaintScene(AVFrame& frame, bool isInterlaced = false)
{
    int const depth = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[0].depth;
    Paint(frame, [&](int component, int row, int column) {
        return SceneSample(component, row, column, std::pow(2.0, depth - 8), isInterlaced);
    });
}

class StreamConverterLocationTest : public testing::TestWithParam<Location>
{};

std::string LocationName(testing::TestParamInfo<Location> const& info)
{
    return info.param.name;
}

} // namespace

TEST_P(StreamConverterLocationTest, InterpolatesChromaBetweenItsPlaces)
{
    for (AVPixelFormat const format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV420P16LE,
                                       AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P10LE,
                                       AV_PIX_FMT_NV12, AV_PIX_FMT_YUV440P, AV_PIX_FMT_YUV420P10BE}) {
        auto const frame = MakeFrame(format, 96, 64);
        PaintScene(*frame);
        frame->chroma_location = GetParam().tag;
        frame->colorspace = AVCOL_SPC_BT709;
        ColourModel::Coding coding;
        coding.siting = GetParam().siting;
        std::vector<uint8_t> const rows = ConvertExactly(*frame);
        ASSERT_FALSE(rows.empty());
        EXPECT_GE(ColourModel::Psnr(rows, 96 * 3, ColourModel::Convert(*frame, coding), 96, 64), leastPsnr)
            << av_get_pix_fmt_name(format);
    }
}

INSTANTIATE_TEST_SUITE_P(All, StreamConverterLocationTest, testing::ValuesIn(locations), LocationName);

TEST(StreamConverterTest, TakesChromaFromTheFieldOfItsRow)
{
    for (AVPixelFormat const format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_NV12}) {
        for (Location const& location : {locations[0], locations[1]}) {
            auto const frame = MakeFrame(format, 96, 64);
            PaintScene(*frame, true);
            FfmpegBridge::MarkInterlaced(frame.get());
            frame->chroma_location = location.tag;
            frame->colorspace = AVCOL_SPC_BT709;
            ColourModel::Coding coding;
            coding.siting = location.siting;
            coding.isInterlaced = true;
            StreamConverter converter; // without asking for exactness
            std::vector<uint8_t> const rows = Convert(converter, *frame, 96);
            ASSERT_FALSE(rows.empty());
            EXPECT_GE(ColourModel::Psnr(rows, 96 * 3, ColourModel::Convert(*frame, coding), 96, 64), leastPsnr)
                << av_get_pix_fmt_name(format) << ' ' << location.name;
        }
    }
}

// The defaults of MPEG-2 and H.264 (left), and of JPEG (centre).
TEST(StreamConverterTest, PlacesUntaggedChromaAsItsKindUsuallyHasIt)
{
    for (AVPixelFormat const format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P}) {
        bool const isJpeg = format == AV_PIX_FMT_YUVJ420P;
        auto const frame = MakeFrame(format, 96, 64);
        PaintScene(*frame);
        ColourModel::Coding coding;
        coding.weights = ColourModel::bt601;
        coding.isFullRange = isJpeg;
        coding.siting.across = isJpeg ? 0.5 : 0.0;
        std::vector<uint8_t> const rows = ConvertExactly(*frame);
        ASSERT_FALSE(rows.empty());
        EXPECT_GE(ColourModel::Psnr(rows, 96 * 3, ColourModel::Convert(*frame, coding), 96, 64), leastPsnr);
    }
}

TEST(StreamConverterTest, TakesUntaggedPicturesForBt709From720LinesOn)
{
    for (int const height : {576, 719, 720, 1080}) {
        ColourModel::Coding coding;
        coding.weights = height >= 720 ? ColourModel::bt709 : ColourModel::bt601;
        auto const frame = MakeFrame(AV_PIX_FMT_YUV422P, 64, height);
        PixelSamples const samples = PaintColour(*frame, {200.0 / 255.0, 30.0 / 255.0, 60.0 / 255.0}, coding);
        ColourModel::Rgb const expected = ColourModel::Decode(samples, coding, 8);
        std::vector<uint8_t> const rows = ConvertQuickly(*frame);
        ASSERT_FALSE(rows.empty());
        for (size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(rows[i], ColourModel::Byte(expected[i]), mostQuickDifference) << height;
    }
}

TEST(StreamConverterTest, LeavesRgbAsItIsRoundedToTheNearest)
{
    constexpr AVPixelFormat formats[] = {
        AV_PIX_FMT_RGB24,    AV_PIX_FMT_BGR24,     AV_PIX_FMT_RGBA,     AV_PIX_FMT_GBRP,      AV_PIX_FMT_GBRP9LE,
        AV_PIX_FMT_GBRP10LE, AV_PIX_FMT_GBRP10BE,  AV_PIX_FMT_GBRP12LE, AV_PIX_FMT_GBRP12BE,  AV_PIX_FMT_GBRP16LE,
        AV_PIX_FMT_GBRP16BE, AV_PIX_FMT_GBRAP10LE, AV_PIX_FMT_RGB48LE,  AV_PIX_FMT_RGB48BE,   AV_PIX_FMT_BGR48LE,
        AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_RGBA64BE,  AV_PIX_FMT_BGRA64LE, AV_PIX_FMT_GBRPF32LE, AV_PIX_FMT_GBRAPF32LE,
        AV_PIX_FMT_GBRPF32BE};
    constexpr int width = 131;
    constexpr int height = 9;
    for (AVPixelFormat const format : formats) {
        AVPixFmtDescriptor const& description = *av_pix_fmt_desc_get(format);
        double const last =
            (description.flags & AV_PIX_FMT_FLAG_FLOAT) != 0 ? 1.0 : std::pow(2.0, description.comp[0].depth) - 1.0;
        auto const frame = MakeFrame(format, width, height);
        std::vector<double> model(static_cast<size_t>(width) * height * 3);
        Paint(*frame, [&](int component, int row, int column) {
            double const value = std::fmod(0.37 * component + 0.0131 * column + 0.111 * row, 1.0) * last;
            double const stored = last > 1.0 ? std::round(value) : value;
            if (component < 3)
                model[static_cast<size_t>((row * width + column) * 3 + component)] = stored / last;
            return stored;
        });
        if (last == 1.0 && (description.flags & AV_PIX_FMT_FLAG_BE) != 0)
            for (int plane = 0; plane < 3; ++plane)
                for (int i = 0; i < frame->linesize[plane] * height; i += 4)
                    std::reverse(frame->data[plane] + i, frame->data[plane] + i + 4);
        std::vector<uint8_t> const rows = ConvertQuickly(*frame);
        ASSERT_FALSE(rows.empty()) << description.name;
        // No value is so close to a half that float precision could round it the other way.
        EXPECT_LE(ColourModel::LargestDifference(rows, RowBytes(width), model, width, height), 0.0) << description.name;
    }
}

TEST(StreamConverterTest, ShowsGreyAsItsRangeSays)
{
    for (AVPixelFormat const format :
         {AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY10LE, AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_YA8, AV_PIX_FMT_YA16LE}) {
        int const depth = av_pix_fmt_desc_get(format)->comp[0].depth;
        for (AVColorRange const range : {AVCOL_RANGE_UNSPECIFIED, AVCOL_RANGE_JPEG, AVCOL_RANGE_MPEG}) {
            ColourModel::Coding coding;
            coding.isFullRange = range != AVCOL_RANGE_MPEG;
            auto const frame = MakeFrame(format, 40, 3);
            std::vector<double> model;
            for (int row = 0; row < 3; ++row)
                for (int column = 0; column < 40; ++column) {
                    double const value = std::round(column * (std::pow(2.0, depth) - 1.0) / 39.0);
                    ColourModel::Rgb const grey =
                        ColourModel::Decode({value, std::pow(2.0, depth - 1), std::pow(2.0, depth - 1)}, coding, depth);
                    model.insert(model.end(), {grey[0], grey[0], grey[0]});
                }
            Paint(*frame, [&](int component, int, int column) {
                return component == 0 ? std::round(column * (std::pow(2.0, depth) - 1.0) / 39.0) : 3.0;
            });
            frame->color_range = range;
            std::vector<uint8_t> const rows = ConvertQuickly(*frame);
            ASSERT_FALSE(rows.empty());
            EXPECT_LE(ColourModel::LargestDifference(rows, 120, model, 40, 3), mostDifference)
                << av_get_pix_fmt_name(format) << ' ' << range;
        }
    }
}

namespace {

using HdrMapping = ColourModel::Rgb (*)(ColourModel::Rgb const&, double);

constexpr int rampWidth = 1024;

// A picture of 10-bit codes: a grey ramp over all codes, then colour bars in eight steps each.
FfmpegPtr<AVFrame> HdrPicture(AVColorTransferCharacteristic transfer)
{
    auto frame = MakeFrame(AV_PIX_FMT_GBRP10LE, rampWidth, 8);
    Paint(*frame, [](int component, int row, int column) {
        if (row == 0)
            return static_cast<double>(column);
        bool const isOn = (row >> component & 1) != 0; // the seven mixtures of red, green and blue
        return isOn ? static_cast<double>(column / 128 * 146) : 0.0;
    });
    frame->color_trc = transfer;
    frame->color_primaries = AVCOL_PRI_BT2020;
    return frame;
}

std::vector<double> HdrModel(AVFrame const& frame, HdrMapping toSdr, double peak)
{
    std::vector<double> model;
    auto const sample = [&](int plane, int row, int column) {
        uint8_t const* at = frame.data[plane] + row * frame.linesize[plane] + column * 2;
        return (at[1] << 8 | at[0]) / 1023.0;
    };
    for (int row = 0; row < frame.height; ++row)
        for (int column = 0; column < frame.width; ++column) {
            ColourModel::Rgb const sdr =
                toSdr({sample(2, row, column), sample(0, row, column), sample(1, row, column)}, peak);
            model.insert(model.end(), sdr.begin(), sdr.end());
        }
    return model;
}

void SetContentLight(AVFrame& frame, unsigned peak)
{
    av_content_light_metadata_create_side_data(&frame)->MaxCLL = peak;
}

void SetMasteringPeak(AVFrame& frame, int peak)
{
    AVMasteringDisplayMetadata* display = av_mastering_display_metadata_create_side_data(&frame);
    display->has_luminance = 1;
    display->max_luminance = {peak, 1};
}

void ExpectMonotonous(std::vector<uint8_t> const& rows, int lastBelowPeak)
{
    for (int column = 1; column < rampWidth; ++column)
        EXPECT_GE(rows[static_cast<size_t>(column) * 3], rows[static_cast<size_t>(column - 1) * 3]) << column;
    EXPECT_EQ(rows[0], 0);
    EXPECT_LT(rows[static_cast<size_t>(lastBelowPeak) * 3], 255) << "clipped below the peak";
    EXPECT_EQ(rows[static_cast<size_t>(rampWidth - 1) * 3], 255);
}

} // namespace

TEST(StreamConverterTest, BringsPqToSdrAsTheModelDoes)
{
    for (int const peak : {0, 400, 1000, 4000, 10000}) {
        auto const frame = HdrPicture(AVCOL_TRC_SMPTE2084);
        if (peak > 0)
            SetContentLight(*frame, static_cast<unsigned>(peak));
        double const modelPeak = peak > 0 ? peak : 1000.0;
        std::vector<uint8_t> const rows = ConvertQuickly(*frame);
        ASSERT_FALSE(rows.empty());
        EXPECT_LE(ColourModel::LargestDifference(rows, rampWidth * 3, HdrModel(*frame, ColourModel::PqToSdr, modelPeak),
                                                 rampWidth, 8),
                  mostDifference)
            << peak;
        ExpectMonotonous(rows, static_cast<int>(ColourModel::PqOf(modelPeak * 0.4) * 1023.0));
    }
}

TEST(StreamConverterTest, BringsHlgToSdrAsTheModelDoes)
{
    auto const frame = HdrPicture(AVCOL_TRC_ARIB_STD_B67);
    std::vector<uint8_t> const rows = ConvertQuickly(*frame);
    ASSERT_FALSE(rows.empty());
    EXPECT_LE(ColourModel::LargestDifference(rows, rampWidth * 3, HdrModel(*frame, ColourModel::HlgToSdr, 1000.0),
                                             rampWidth, 8),
              mostDifference);
    ExpectMonotonous(rows, 920);
}

TEST(StreamConverterTest, TakesThePeakOfTheMasteringDisplayWhereTheContentSaysNone)
{
    auto const frame = HdrPicture(AVCOL_TRC_SMPTE2084);
    SetContentLight(*frame, 0);
    SetMasteringPeak(*frame, 4000);
    std::vector<uint8_t> const rows = ConvertQuickly(*frame);
    ASSERT_FALSE(rows.empty());
    EXPECT_LE(ColourModel::LargestDifference(rows, rampWidth * 3, HdrModel(*frame, ColourModel::PqToSdr, 4000.0),
                                             rampWidth, 8),
              mostDifference);
}

TEST(StreamConverterTest, TakesThePeakOfTheContainerWhereThePictureSaysNone)
{
    auto const frame = HdrPicture(AVCOL_TRC_SMPTE2084);
    StreamConverter converter;
    converter.SetStatedPeak(4000.0);
    std::vector<uint8_t> const rows = Convert(converter, *frame, rampWidth);
    ASSERT_FALSE(rows.empty());
    EXPECT_LE(ColourModel::LargestDifference(rows, rampWidth * 3, HdrModel(*frame, ColourModel::PqToSdr, 4000.0),
                                             rampWidth, 8),
              mostDifference);
}

TEST(StreamConverterTest, LeavesHdrAsItIsWhenToneMappingIsLeftOut)
{
    auto const frame = HdrPicture(AVCOL_TRC_SMPTE2084);
    ColourSettings settings;
    settings.toneMapping = false;
    StreamConverter converter;
    converter.SetSettings(settings);
    std::vector<uint8_t> const rows = Convert(converter, *frame, rampWidth);
    ASSERT_FALSE(rows.empty());
    for (int column = 0; column < rampWidth; ++column)
        EXPECT_EQ(rows[static_cast<size_t>(column) * 3], ColourModel::Byte(column / 1023.0)) << column;
    converter.SetSettings(ColourSettings());
    EXPECT_EQ(Convert(converter, *frame, rampWidth), ConvertQuickly(*frame));
}

// An SDR picture tagged with BT.2020 primaries becomes the same light in BT.709 primaries.
TEST(StreamConverterTest, BringsOtherPrimariesToThoseOfBt709)
{
    ColourModel::Coding coding;
    coding.weights = ColourModel::bt2020;
    for (ColourModel::Rgb const& colour : {ColourModel::Rgb{0.5, 0.5, 0.5}, ColourModel::Rgb{0.6, 0.5, 0.4},
                                           ColourModel::Rgb{0.3, 0.55, 0.4}, ColourModel::Rgb{1.0, 1.0, 1.0}}) {
        auto const frame = MakeFrame(AV_PIX_FMT_YUV420P10LE, 32, 16);
        PixelSamples const samples = PaintColour(*frame, colour, coding);
        frame->color_primaries = AVCOL_PRI_BT2020;
        frame->color_trc = AVCOL_TRC_BT2020_10;
        frame->colorspace = AVCOL_SPC_BT2020_NCL;
        ColourModel::Rgb light = ColourModel::Decode(samples, coding, 10);
        for (double& component : light)
            component = std::pow(std::clamp(component, 0.0, 1.0), 2.4);
        light = ColourModel::Bt2020ToBt709(light);
        std::vector<uint8_t> const rows = ConvertQuickly(*frame);
        ASSERT_FALSE(rows.empty());
        for (size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(rows[i], ColourModel::Byte(std::pow(std::clamp(light[i], 0.0, 1.0), 1.0 / 2.4)),
                        mostDifference);
    }
}

// The darkest bytes differ by less than one step of linear light rounded to bytes.
TEST(StreamConverterTest, EncodesLinearLightBeforeItRounds)
{
    auto const frame = MakeFrame(AV_PIX_FMT_GBRPF32LE, 512, 2);
    std::vector<double> model;
    for (int row = 0; row < 2; ++row)
        for (int column = 0; column < 512; ++column)
            model.insert(model.end(), 3, std::pow((row == 0 ? 0.0001 : 0.0025) * column, 1.0 / 2.2));
    Paint(*frame, [](int, int row, int column) { return (row == 0 ? 0.0001 : 0.0025) * column; });
    StreamConverter converter;
    std::vector<uint8_t> const rows = Convert(converter, *frame, 512, true);
    ASSERT_FALSE(rows.empty());
    EXPECT_LE(ColourModel::LargestDifference(rows, 512 * 3, model, 512, 2), mostDifference);

    frame->color_trc = AVCOL_TRC_LINEAR;
    EXPECT_EQ(Convert(converter, *frame, 512), rows);
}

TEST(StreamConverterTest, EncodesEachComponentOfLinearFloats)
{
    for (AVPixelFormat const format : {AV_PIX_FMT_GBRPF32LE, AV_PIX_FMT_GBRAPF32LE}) {
        auto const frame = MakeFrame(format, 67, 3);
        auto const light = [](int component, int row, int column) {
            return 0.004 * column + 0.2 * component + 0.1 * row;
        };
        std::vector<double> model;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 67; ++column)
                for (int component = 0; component < 3; ++component)
                    model.push_back(std::pow(light(component, row, column), 1.0 / 2.2));
        Paint(*frame, light);
        StreamConverter converter;
        std::vector<uint8_t> const rows = Convert(converter, *frame, 67, true);
        ASSERT_FALSE(rows.empty());
        EXPECT_LE(ColourModel::LargestDifference(rows, RowBytes(67), model, 67, 3), mostDifference)
            << av_get_pix_fmt_name(format);
    }
}

TEST(StreamConverterTest, EncodesLinearIntegersToo)
{
    for (AVPixelFormat const format :
         {AV_PIX_FMT_RGB24, AV_PIX_FMT_GBRP10LE, AV_PIX_FMT_RGB48LE, AV_PIX_FMT_RGBA64BE}) {
        double const last = std::pow(2.0, av_pix_fmt_desc_get(format)->comp[0].depth) - 1.0;
        auto const frame = MakeFrame(format, 256, 1);
        std::vector<double> model;
        for (int column = 0; column < 256; ++column)
            model.insert(model.end(), 3, std::pow(std::round(column / 255.0 * last) / last, 1.0 / 2.2));
        Paint(*frame, [&](int, int, int column) { return column / 255.0 * last; });
        StreamConverter converter;
        std::vector<uint8_t> const rows = Convert(converter, *frame, 256, true);
        ASSERT_FALSE(rows.empty());
        EXPECT_LE(ColourModel::LargestDifference(rows, 256 * 3, model, 256, 1), mostDifference)
            << av_get_pix_fmt_name(format);
    }
}

namespace {

Family const families[] = {
    {"Yuv8", {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV410P, AV_PIX_FMT_YUV411P}},
    {"FullYuv", {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ444P}},
    {"DeepYuv", {AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10BE, AV_PIX_FMT_YUV444P12LE}},
    {"PackedYuv", {AV_PIX_FMT_NV12, AV_PIX_FMT_YUYV422, AV_PIX_FMT_UYVY422, AV_PIX_FMT_P010LE}},
    {"PackedRgb", {AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA, AV_PIX_FMT_RGB48LE, AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_RGB565LE}},
    {"PlanarRgb", {AV_PIX_FMT_GBRP, AV_PIX_FMT_GBRP10BE, AV_PIX_FMT_GBRPF32LE}},
    {"Others", {AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY16LE, AV_PIX_FMT_PAL8, AV_PIX_FMT_XYZ12LE, AV_PIX_FMT_MONOWHITE}},
};

class StreamConverterFamilyTest : public testing::TestWithParam<Family>
{};

// Checks that every pixel is written and the padding is 0; Convert itself checks the bytes beside the rows.
void ExpectWhole(StreamConverter& converter, AVFrame& frame, int outputWidth)
{
    std::vector<uint8_t> const rows = Convert(converter, frame, outputWidth);
    std::string const name = std::string(av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format))) + ' ' +
                             std::to_string(frame.width) + 'x' + std::to_string(frame.height) + " to " +
                             std::to_string(outputWidth);
    ASSERT_FALSE(rows.empty()) << name;
    auto const stride = static_cast<size_t>(RowBytes(outputWidth));
    for (size_t row = 0; row < static_cast<size_t>(frame.height); ++row)
        for (size_t i = static_cast<size_t>(outputWidth) * 3; i < stride; ++i)
            ASSERT_EQ(rows[row * stride + i], 0) << name;
    // A second run over other bytes shows the bytes that were not written.
    PictureScaler::Layout const layout = LayoutOf(frame, outputWidth);
    std::vector<uint8_t> again(rows.size() + 64, 0x11);
    ASSERT_TRUE(converter.Convert(frame, layout, false, again.data())) << name;
    ASSERT_TRUE(std::equal(rows.begin(), rows.end(), again.begin())) << name << ": not all of it is written";
}

} // namespace

TEST_P(StreamConverterFamilyTest, WritesEveryPixelAndNothingBesideThem)
{
    for (AVPixelFormat const format : GetParam().formats) {
        for (int width = 1; width <= 130; ++width) {
            for (int const height : {1, 5 + width % 2}) {
                for (bool const isInterlaced : {false, true}) {
                    auto const frame = NoisePicture(width, height, format, static_cast<uint32_t>(width));
                    if (isInterlaced)
                        FfmpegBridge::MarkInterlaced(frame.get());
                    StreamConverter converter;
                    ColourSettings settings;
                    settings.exact = width % 3 == 0;
                    converter.SetSettings(settings);
                    ExpectWhole(converter, *frame, width);
                    ExpectWhole(converter, *frame, width * 4 / 3 + 1);
                    ExpectWhole(converter, *frame, std::max(1, width * 7 / 10));
                }
            }
        }
    }
}

TEST_P(StreamConverterFamilyTest, ConvertsInSlicesToTheSameBytes)
{
    for (AVPixelFormat const format : GetParam().formats) {
        for (bool const isInterlaced : {false, true}) {
            for (int const outputWidth : {700, 933}) {
                auto const frame = NoisePicture(700, 739, format, 3);
                if (isInterlaced)
                    FfmpegBridge::MarkInterlaced(frame.get());
                StreamConverter alone;
                StreamConverter shared;
                alone.SetSettings(Exact());
                shared.SetSettings(Exact());
                shared.SetMostThreads(3);
                std::vector<uint8_t> const expected = Convert(alone, *frame, outputWidth);
                ASSERT_FALSE(expected.empty());
                EXPECT_TRUE(Convert(shared, *frame, outputWidth) == expected) << av_get_pix_fmt_name(format);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, StreamConverterFamilyTest, testing::ValuesIn(families), FamilyName);

// The last chroma row and column may belong to a single luma row or column.
TEST(StreamConverterTest, ConvertsTheEdgesOfOddSizesAsTheModelDoes)
{
    for (AVPixelFormat const format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_NV12}) {
        auto const frame = MakeFrame(format, 61, 35);
        PaintScene(*frame);
        frame->colorspace = AVCOL_SPC_BT709;
        std::vector<uint8_t> const rows = ConvertExactly(*frame);
        ASSERT_FALSE(rows.empty());
        EXPECT_GE(ColourModel::Psnr(rows, RowBytes(61), ColourModel::Convert(*frame, ColourModel::Coding()), 61, 35),
                  leastPsnr);
    }
}

// Decoders crop by moving the planes' starts, which breaks the alignment for vector registers.
TEST(StreamConverterTest, ReadsPlanesThatBeginAnywhere)
{
    auto const frame = MakeFrame(AV_PIX_FMT_YUV420P10LE, 96, 64);
    PaintScene(*frame);
    auto const cropped = MakeFrame(AV_PIX_FMT_YUV420P10LE, 80, 60);
    FfmpegPtr<AVFrame> const view(av_frame_clone(frame.get()));
    view->width = 80;
    view->height = 60;
    for (int plane = 0; plane < 3; ++plane) {
        view->data[plane] += view->linesize[plane] * (plane == 0 ? 2 : 1) + (plane == 0 ? 4 : 2);
        for (int row = 0; row < (plane == 0 ? 60 : 30); ++row)
            std::memcpy(cropped->data[plane] + row * cropped->linesize[plane],
                        view->data[plane] + row * view->linesize[plane], plane == 0 ? 160 : 80);
    }
    EXPECT_EQ(ConvertExactly(*view), ConvertExactly(*cropped));
    EXPECT_FALSE(ConvertExactly(*view).empty());
}

TEST(StreamConverterTest, FollowsPicturesOfChangingKinds)
{
    StreamConverter converter;
    auto const yuv = MakeFrame(AV_PIX_FMT_YUV420P10LE, 96, 64);
    PaintScene(*yuv);
    std::vector<uint8_t> const first = Convert(converter, *yuv, 96);
    for (int i = 0; i < 20; ++i) {
        auto const other = MakeFrame(AV_PIX_FMT_YUV420P10LE, 64 + 2 * i, 64);
        PaintScene(*other);
        EXPECT_EQ(Convert(converter, *other, 64 + 2 * i), ConvertQuickly(*other));
        auto const hdr = HdrPicture(i % 2 == 0 ? AVCOL_TRC_SMPTE2084 : AVCOL_TRC_ARIB_STD_B67);
        EXPECT_EQ(Convert(converter, *hdr, rampWidth), ConvertQuickly(*hdr));
    }
    EXPECT_EQ(Convert(converter, *yuv, 96), first);
}

TEST(StreamConverterTest, RefusesWhatCannotBeConvertedAndGoesOn)
{
    auto const source = NoisePicture(16, 16, AV_PIX_FMT_RGB24, 5);
    std::vector<uint8_t> target(16 * 48 + 64);
    StreamConverter converter;
    PictureScaler::Layout layout = LayoutOf(*source, 16);
    layout.format = -1;
    EXPECT_FALSE(converter.Convert(*source, layout, false, target.data()));
    layout = LayoutOf(*source, 16);
    layout.width = 0;
    EXPECT_FALSE(converter.Convert(*source, layout, false, target.data()));
    source->format = AV_PIX_FMT_RGB24;
    source->width = 16;
    EXPECT_FALSE(Convert(converter, *source, 16).empty());
}
