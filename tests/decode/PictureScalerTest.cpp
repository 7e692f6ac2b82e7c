#include "decode/PictureScaler.h"

#include "tests/decode/FormatFamily.h"
#include "tests/support/Reference.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
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

// Converts a noise picture and compares every byte and the bytes beside it; the text is empty when all are equal.
std::string Difference(PictureScaler& scaler, int format, int width, int height, int outputWidth)
{
    auto const source = NoisePicture(width, height, format, static_cast<uint32_t>(width * 7 + height));
    std::vector<uint8_t> const expected = ConvertPlainly(*source, outputWidth);
    std::vector<uint8_t> target(expected.size() + 2 * guardBytes, guard);
    std::string const name = std::string(av_get_pix_fmt_name(static_cast<AVPixelFormat>(format))) + ' ' +
                             std::to_string(width) + 'x' + std::to_string(height) + " to " +
                             std::to_string(outputWidth) + ": ";
    if (!scaler.Convert(*source, LayoutOf(*source, outputWidth), target.data() + guardBytes))
        return name + "not converted";
    auto const first = target.begin() + guardBytes;
    auto const last = first + static_cast<ptrdiff_t>(expected.size());
    auto const isGuard = [](uint8_t byte) { return byte == guard; };
    if (!std::all_of(target.begin(), first, isGuard) || !std::all_of(last, target.end(), isGuard))
        return name + "bytes beside the picture changed";
    auto const difference = std::mismatch(first, last, expected.begin());
    if (difference.first == last)
        return {};
    auto const offset = difference.first - first;
    auto const stride = static_cast<ptrdiff_t>(RowBytes(outputWidth));
    return name + "byte " + std::to_string(offset % stride) + " of row " + std::to_string(offset / stride) + " differs";
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
        for (int const threads : {1, 2, 3}) {
            PictureScaler scaler;
            scaler.SetMostThreads(threads);
            for (int const width : {648, 854, 1080, 1366, 1440})
                EXPECT_EQ(Difference(scaler, format, width, HeightOfALargePicture(width), width), "");
            EXPECT_EQ(Difference(scaler, format, 1440, 272, 1920), "");
        }
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
