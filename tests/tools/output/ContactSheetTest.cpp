#include "tools/output/ContactSheet.h"

#include <gtest/gtest.h>

namespace {

RgbPicture Plain(int width, int height, uint8_t red)
{
    RgbPicture picture;
    picture.width = width;
    picture.height = height;
    for (int i = 0; i < width * height; ++i)
        picture.bytes.insert(picture.bytes.end(), {red, 0, 0});
    return picture;
}

// Red of what lies between the places, and of a place that its picture does not fill.
constexpr int background = 22;
constexpr int emptyPlace = 12;

int RedAt(RgbPicture const& picture, int x, int y)
{
    return picture.bytes.at(static_cast<size_t>(y) * picture.RowBytes() + 3 * static_cast<size_t>(x));
}

// Whether anything brighter than the background lies between the rows.
bool HasTextBetween(RgbPicture const& picture, int top, int bottom)
{
    for (int y = top; y < bottom; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            if (RedAt(picture, x, y) > background)
                return true;
        }
    }
    return false;
}

} // namespace

// Places of 100 x 50, 12 apart and around; text 7 high with 4 above.
TEST(ContactSheetTest, LaysPicturesInRowsAndColumns)
{
    ContactSheet sheet(100);
    for (uint8_t const red : {210, 220, 230})
        sheet.Add(Plain(40, 20, red), "0");
    RgbPicture const picture = sheet.Draw(2);
    EXPECT_EQ(picture.width, 12 + 2 * 112);
    EXPECT_EQ(picture.height, 12 + 2 * (50 + 11 + 12));
    EXPECT_EQ(RedAt(picture, 12, 12), 210);
    EXPECT_EQ(RedAt(picture, 111, 61), 210);
    EXPECT_EQ(RedAt(picture, 112, 12), background);
    EXPECT_EQ(RedAt(picture, 124, 12), 220);
    EXPECT_EQ(RedAt(picture, 12, 12 + 73), 230);
    EXPECT_EQ(RedAt(picture, 124, 12 + 73), background);
}

TEST(ContactSheetTest, WritesTheTextBelowItsPicture)
{
    ContactSheet sheet(100);
    sheet.Add(Plain(40, 20, 200), "00:00:12.500");
    RgbPicture const picture = sheet.Draw(1);
    EXPECT_FALSE(HasTextBetween(picture, 62, 66));
    EXPECT_TRUE(HasTextBetween(picture, 66, 73));
    EXPECT_FALSE(HasTextBetween(picture, 73, picture.height));
}

TEST(ContactSheetTest, DoublesTheTextOfWidePictures)
{
    ContactSheet sheet(160);
    sheet.Add(Plain(16, 9, 200), "1");
    EXPECT_EQ(sheet.Draw(1).height, 12 + 90 + 22 + 12);
}

TEST(ContactSheetTest, NeedsNoRoomForTextWithoutText)
{
    ContactSheet sheet(100);
    sheet.Add(Plain(40, 20, 200), "");
    EXPECT_EQ(sheet.Draw(1).height, 12 + 50 + 12);
}

TEST(ContactSheetTest, FitsOtherShapesIntoTheMiddle)
{
    ContactSheet sheet(100);
    sheet.Add(Plain(40, 20, 200), "");
    sheet.Add(Plain(20, 20, 240), "");
    RgbPicture const picture = sheet.Draw(2);
    EXPECT_EQ(RedAt(picture, 124 + 24, 30), emptyPlace);
    EXPECT_EQ(RedAt(picture, 124 + 25, 30), 240); // 50 x 50 in 100 x 50
    EXPECT_EQ(RedAt(picture, 124 + 74, 30), 240);
    EXPECT_EQ(RedAt(picture, 124 + 75, 30), emptyPlace);
}

TEST(ContactSheetTest, BoundsThePlaceOfAVeryTallPicture)
{
    ContactSheet sheet(100);
    sheet.Add(Plain(1, 2000, 200), "");
    EXPECT_EQ(sheet.Draw(1).height, 12 + 400 + 12);
}
