#include "tools/output/Canvas.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr Colour black = {0, 0, 0};
constexpr Colour white = {255, 255, 255};

// A line of text for each row, "#" where there is anything but black.
std::string Drawn(Canvas const& canvas)
{
    RgbPicture const& picture = canvas.GetPicture();
    std::string text;
    for (size_t pixel = 0; pixel < picture.bytes.size() / 3; ++pixel) {
        bool const isBlack =
            picture.bytes[3 * pixel] + picture.bytes[3 * pixel + 1] + picture.bytes[3 * pixel + 2] == 0;
        text += isBlack ? '.' : '#';
        if ((pixel + 1) % static_cast<size_t>(picture.width) == 0)
            text += '\n';
    }
    return text;
}

} // namespace

TEST(CanvasTest, BeginsWithItsBackground)
{
    Canvas const canvas(2, 1, {1, 2, 3});
    EXPECT_EQ(canvas.GetPicture().bytes, (std::vector<uint8_t>{1, 2, 3, 1, 2, 3}));
}

TEST(CanvasTest, FillsNothingOutside)
{
    Canvas canvas(4, 3, black);
    canvas.Fill(2, 1, 100, 100, white);
    canvas.Fill(-5, -5, 6, 6, white);
    canvas.Fill(50, 50, 2, 2, white);
    EXPECT_EQ(Drawn(canvas), "#...\n"
                             "..##\n"
                             "..##\n");
}

TEST(CanvasTest, PlacesPicturesAlsoHalfOutside)
{
    RgbPicture picture;
    picture.width = 3;
    picture.height = 2;
    picture.bytes = {9, 0, 0, 0, 8, 0, 0, 0, 7, 6, 0, 0, 0, 5, 0, 0, 0, 4};
    Canvas canvas(2, 2, black);
    canvas.Place(picture, -1, 1);
    EXPECT_EQ(canvas.GetPicture().bytes, (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 7}));
    canvas.Place(picture, 1, -1);
    EXPECT_EQ(canvas.GetPicture().bytes, (std::vector<uint8_t>{0, 0, 0, 6, 0, 0, 0, 8, 0, 0, 0, 7}));
    canvas.Place(picture, -3, 0);
    canvas.Place(picture, 2, 0);
    EXPECT_EQ(canvas.GetPicture().bytes[3], 6);
}

TEST(CanvasTest, WritesTimes)
{
    Canvas canvas(19, 7, black);
    canvas.Write("4:7.-", 0, 0, 1, white);
    EXPECT_EQ(Drawn(canvas), "...#....#####......\n"
                             "..##........#......\n"
                             ".#.#..#....#.......\n"
                             "#..#.......#....###\n"
                             "#####.#...#........\n"
                             "...#......#........\n"
                             "...#......#...#....\n");
}

TEST(CanvasTest, WritesLargerLettersOfTheSameShape)
{
    Canvas canvas(6, 14, black);
    canvas.Write(":", 2, 0, 2, white);
    EXPECT_EQ(Drawn(canvas), "......\n......\n......\n......\n"
                             "..##..\n..##..\n......\n......\n"
                             "..##..\n..##..\n......\n......\n"
                             "......\n......\n");
}

TEST(CanvasTest, TellsTheSizeOfAText)
{
    EXPECT_EQ(Canvas::TextWidth("", 1), 0);
    EXPECT_EQ(Canvas::TextWidth("7", 1), 5);
    EXPECT_EQ(Canvas::TextWidth("00:00:12.500", 2), 2 * (9 * 6 + 3 * 2 - 1));
    EXPECT_EQ(Canvas::TextHeight(2), 14);
}
