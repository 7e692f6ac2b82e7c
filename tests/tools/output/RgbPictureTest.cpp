#include "tools/output/RgbPicture.h"

#include "decode/DecodedVideoFrame.h"

#include <gtest/gtest.h>

namespace {

// Pixels are numbers here, each three times the same byte.
RgbPicture PictureOf(int width, std::vector<uint8_t> const& pixels)
{
    RgbPicture picture;
    picture.width = width;
    picture.height = static_cast<int>(pixels.size()) / width;
    for (uint8_t const pixel : pixels)
        picture.bytes.insert(picture.bytes.end(), 3, pixel);
    return picture;
}

std::vector<uint8_t> PixelsOf(RgbPicture const& picture)
{
    std::vector<uint8_t> pixels;
    for (size_t i = 0; i < picture.bytes.size(); i += 3)
        pixels.push_back(picture.bytes[i]);
    return pixels;
}

// 1 2 3
// 4 5 6
RgbPicture const upright = PictureOf(3, {1, 2, 3, 4, 5, 6});

} // namespace

TEST(RgbPictureTest, LeavesThePaddingOfRowsBehind)
{
    uint8_t const rows[] = {1, 2, 3, 99, 4, 5, 6, 99}; // one pixel wide, two high
    DecodedVideoFrame const record(rows, sizeof rows, 1, 2, 0, 25.0, 0, false);
    RgbPicture const picture = RgbPicture::FromRecord(record);
    EXPECT_EQ(picture.width, 1);
    EXPECT_EQ(picture.height, 2);
    EXPECT_EQ(picture.bytes, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(RgbPictureTest, TurnsAQuarterClockwise)
{
    RgbPicture const turned = upright.TurnedClockwise(90);
    EXPECT_EQ(turned.width, 2);
    EXPECT_EQ(turned.height, 3);
    EXPECT_EQ(PixelsOf(turned), (std::vector<uint8_t>{4, 1, 5, 2, 6, 3}));
}

TEST(RgbPictureTest, TurnsUpsideDown)
{
    RgbPicture const turned = upright.TurnedClockwise(180);
    EXPECT_EQ(turned.width, 3);
    EXPECT_EQ(PixelsOf(turned), (std::vector<uint8_t>{6, 5, 4, 3, 2, 1}));
}

TEST(RgbPictureTest, TurnsThreeQuartersEitherWay)
{
    std::vector<uint8_t> const expected{3, 6, 2, 5, 1, 4};
    EXPECT_EQ(PixelsOf(upright.TurnedClockwise(270)), expected);
    EXPECT_EQ(PixelsOf(upright.TurnedClockwise(-90)), expected);
}

TEST(RgbPictureTest, StaysForWholeTurnsAndOddAngles)
{
    for (int const degrees : {0, 360, -360, 45, 91}) {
        RgbPicture const turned = upright.TurnedClockwise(degrees);
        EXPECT_EQ(turned.width, 3) << degrees;
        EXPECT_EQ(turned.bytes, upright.bytes) << degrees;
    }
}

TEST(RgbPictureTest, KeepsThePixelsBytesInOrder)
{
    RgbPicture picture;
    picture.width = 2;
    picture.height = 1;
    picture.bytes = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(picture.TurnedClockwise(180).bytes, (std::vector<uint8_t>{4, 5, 6, 1, 2, 3}));
}

TEST(RgbPictureTest, ScalesDownToTheMeanOfWhatEachPixelCovers)
{
    RgbPicture const scaled = PictureOf(4, {10, 20, 100, 100, 30, 40, 100, 104}).ScaledTo(2, 1);
    EXPECT_EQ(scaled.width, 2);
    EXPECT_EQ(scaled.height, 1);
    EXPECT_EQ(PixelsOf(scaled), (std::vector<uint8_t>{25, 101}));
}

// Three pixels in two: each new one covers one and a half old ones.
TEST(RgbPictureTest, ScalesByPartsOfPixels)
{
    EXPECT_EQ(PixelsOf(PictureOf(3, {30, 60, 90}).ScaledTo(2, 1)), (std::vector<uint8_t>{40, 80}));
    EXPECT_EQ(PixelsOf(PictureOf(1, {30, 60, 90}).ScaledTo(1, 2)), (std::vector<uint8_t>{40, 80}));
}

TEST(RgbPictureTest, ScalesUpAndKeepsColoursApart)
{
    RgbPicture dot;
    dot.width = 1;
    dot.height = 1;
    dot.bytes = {255, 128, 1};
    EXPECT_EQ(dot.ScaledTo(2, 1).bytes, (std::vector<uint8_t>{255, 128, 1, 255, 128, 1}));
    EXPECT_EQ(PixelsOf(PictureOf(2, {0, 200}).ScaledTo(4, 1)), (std::vector<uint8_t>{0, 0, 200, 200}));
}
