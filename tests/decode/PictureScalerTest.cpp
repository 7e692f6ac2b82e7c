#include "decode/PictureScaler.h"

#include "tests/decode/FormatFamily.h"
#include "tests/support/Reference.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace {

constexpr uint8_t guard = 0xa5;
constexpr size_t guardBytes = 256;

constexpr int pixelsOfALargePicture = 500000; // the scaler's limit for threads

Family const families[] = {
    {"LimitedYuv",
     {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV410P, AV_PIX_FMT_YUV411P,
      AV_PIX_FMT_YUV440P, AV_PIX_FMT_YUVA420P}},
    {"FullYuv", {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ444P}},
    {"DeepYuv", {AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_YUV444P12LE}},
    {"PackedYuv", {AV_PIX_FMT_NV12, AV_PIX_FMT_NV21, AV_PIX_FMT_YUYV422, AV_PIX_FMT_UYVY422}},
    {"PackedRgb",
     {AV_PIX_FMT_RGB24, AV_PIX_FMT_BGR24, AV_PIX_FMT_RGBA, AV_PIX_FMT_BGRA, AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB0,
      AV_PIX_FMT_RGB48LE, AV_PIX_FMT_RGBA64LE}},
    {"PlanarRgb", {AV_PIX_FMT_GBRP, AV_PIX_FMT_GBRAP, AV_PIX_FMT_GBRP10LE, AV_PIX_FMT_GBRP12LE}},
    {"GrayAndPalette", {AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY16LE, AV_PIX_FMT_PAL8}},
};

// A noise picture and what the plain call makes of it.
struct Example
{
    Example(int format, int width, int height, int newOutputWidth)
        : source(NoisePicture(width, height, format, static_cast<uint32_t>(width * 7 + height))),
          outputWidth(newOutputWidth),
          expected(ConvertPlainly(*source, outputWidth))
    {}

    std::string Name() const
    {
        return std::string(av_get_pix_fmt_name(static_cast<AVPixelFormat>(source->format))) + ' ' +
               std::to_string(source->width) + 'x' + std::to_string(source->height) + " to " +
               std::to_string(outputWidth) + ": ";
    }

    FfmpegPtr<AVFrame> const source;
    int const outputWidth;
    std::vector<uint8_t> const expected;
};

// Converts the example's picture and compares every byte and the bytes beside it; the text is empty when all are equal.
std::string Difference(PictureScaler& scaler, Example const& example)
{
    std::vector<uint8_t> target(example.expected.size() + 2 * guardBytes, guard);
    auto const layout = LayoutOf(*example.source, example.outputWidth);
    if (!scaler.Convert(*example.source, layout, target.data() + guardBytes))
        return example.Name() + "not converted";
    auto const first = target.begin() + guardBytes;
    auto const last = first + static_cast<ptrdiff_t>(example.expected.size());
    auto const isGuard = [](uint8_t byte) { return byte == guard; };
    if (!std::all_of(target.begin(), first, isGuard) || !std::all_of(last, target.end(), isGuard))
        return example.Name() + "bytes beside the picture changed";
    if (std::memcmp(&*first, example.expected.data(), example.expected.size()) == 0)
        return {};
    auto const offset = std::mismatch(first, last, example.expected.begin()).first - first;
    auto const stride = static_cast<ptrdiff_t>(RowBytes(example.outputWidth));
    return example.Name() + "byte " + std::to_string(offset % stride) + " of row " + std::to_string(offset / stride) +
           " differs";
}

std::string Difference(PictureScaler& scaler, int format, int width, int height, int outputWidth)
{
    return Difference(scaler, Example(format, width, height, outputWidth));
}

int HeightOfALargePicture(int width)
{
    return pixelsOfALargePicture / width + 2;
}

class PictureScalerFormatTest : public testing::TestWithParam<Family>
{};

} // namespace

TEST_P(PictureScalerFormatTest, ConvertsEveryNarrowWidthAsThePlainCallDoes)
{
    for (AVPixelFormat const format : GetParam().formats) {
        for (int width = 1; width <= 130; ++width) {
            PictureScaler scaler;
            EXPECT_EQ(Difference(scaler, format, width, 5 + width % 2, width), "");
        }
    }
}

TEST_P(PictureScalerFormatTest, StretchesEveryNarrowWidthAsThePlainCallDoes)
{
    for (AVPixelFormat const format : GetParam().formats) {
        for (int width = 1; width <= 130; ++width) {
            PictureScaler scaler;
            EXPECT_EQ(Difference(scaler, format, width, 6, width * 4 / 3 + 1), "");
            EXPECT_EQ(Difference(scaler, format, width, 6, std::max(1, width * 7 / 10)), "");
        }
    }
}

TEST_P(PictureScalerFormatTest, ConvertsCommonWidthsAsThePlainCallDoes)
{
    for (AVPixelFormat const format : GetParam().formats) {
        for (int const width : {640, 642, 648, 720, 854, 960, 1080, 1280, 1366, 1440, 1920}) {
            PictureScaler scaler;
            EXPECT_EQ(Difference(scaler, format, width, 18, width), "");
            EXPECT_EQ(Difference(scaler, format, width, 18, width * 4 / 3), "");
        }
    }
}

TEST_P(PictureScalerFormatTest, ConvertsLargePicturesAsThePlainCallDoes)
{
    for (AVPixelFormat const format : GetParam().formats) {
        std::array<PictureScaler, 3> scalers;
        for (int i = 0; i < 3; ++i)
            scalers[static_cast<size_t>(i)].SetMostThreads(i + 1);
        auto const expectEqual = [&scalers](Example const& example) {
            for (PictureScaler& scaler : scalers)
                EXPECT_EQ(Difference(scaler, example), "");
        };
        for (int const width : {648, 854, 1080, 1366, 1440})
            expectEqual(Example(format, width, HeightOfALargePicture(width), width));
        expectEqual(Example(format, 1440, 272, 1920));
    }
}

INSTANTIATE_TEST_SUITE_P(All, PictureScalerFormatTest, testing::ValuesIn(families), FamilyName);

// libswscale's quick converters leave the last columns unwritten or write beside the row, depending on the width.
TEST(PictureScalerTest, ConvertsLargePicturesOfEveryNarrowWidth)
{
    for (int width = 8; width <= 130; ++width) {
        PictureScaler scaler;
        scaler.SetMostThreads(2 + width % 3);
        EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, width, HeightOfALargePicture(width), width), "");
        EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV422P10LE, width, HeightOfALargePicture(width), width), "");
    }
}

TEST(PictureScalerTest, ConvertsBothSidesOfTheLimitForThreads)
{
    PictureScaler scaler;
    scaler.SetMostThreads(2);
    for (int const height : {499, 500, 501}) {
        EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 1000, height, 1000), "");
        EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P10LE, 1000, height, 1000), "");
        EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 750, height, 1000), "");
    }
}

TEST(PictureScalerTest, FollowsPicturesOfChangingKinds)
{
    PictureScaler scaler;
    scaler.SetMostThreads(2);
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 642, 20, 642), "");
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 642, 20, 856), "");
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 642, 800, 856), "");
    scaler.SetMostThreads(1);
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 642, 800, 856), "");
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_GBRP, 642, 20, 642), "");
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 642, 800, 642), "");
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_YUV420P, 642, 20, 642), "");
}

// A decoder's picture can be larger than the part to be shown.
TEST(PictureScalerTest, ConvertsThePartThatTheLayoutNames)
{
    auto const source = NoisePicture(64, 32, AV_PIX_FMT_RGB24, 5);
    std::vector<uint8_t> target(static_cast<size_t>(RowBytes(30)) * 20, guard);
    PictureScaler::Layout layout = LayoutOf(*source, 30);
    layout.width = 30;
    layout.height = 20;
    layout.outputHeight = 20;
    PictureScaler scaler;
    ASSERT_TRUE(scaler.Convert(*source, layout, target.data()));
    for (int row = 0; row < 20; ++row)
        EXPECT_EQ(std::memcmp(target.data() + row * RowBytes(30), source->data[0] + row * source->linesize[0], 90), 0);
}

TEST(PictureScalerTest, RefusesWhatCannotBeConvertedAndGoesOn)
{
    auto const source = NoisePicture(16, 16, AV_PIX_FMT_RGB24, 5);
    std::vector<uint8_t> target(16 * 48);
    PictureScaler scaler;
    PictureScaler::Layout layout = LayoutOf(*source, 16);
    layout.format = -1;
    EXPECT_FALSE(scaler.Convert(*source, layout, target.data()));
    layout = LayoutOf(*source, 16);
    layout.width = 0;
    EXPECT_FALSE(scaler.Convert(*source, layout, target.data()));
    EXPECT_EQ(Difference(scaler, AV_PIX_FMT_RGB24, 16, 16, 16), "");
}
