#include "player/picture/PictureLook.h"
#include "decode/DecodedVideoFrame.h"

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Channels = PictureLook::Channels;
using Fields = PictureLook::Fields;

QColor Looked(PictureLook const& look, QColor const& colour)
{
    QImage image(1, 1, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    look.Apply(image);
    return image.pixelColor(0, 0);
}

PictureLook WithChannels(Channels channels)
{
    PictureLook look;
    look.channels = channels;
    return look;
}

PictureLook WithHalfStops(int halfStops)
{
    PictureLook look;
    look.halfStops = halfStops;
    return look;
}

// One pixel wide, in rows of 4 bytes: each row has its value three times.
DecodedVideoFrame Column(std::vector<uint8_t> const& values)
{
    std::vector<uint8_t> bytes;
    for (uint8_t const value : values)
        bytes.insert(bytes.end(), {value, value, value, 0});
    return {bytes.data(), static_cast<int>(bytes.size()), 1, static_cast<int>(values.size()), 0, 25.0, 0, false};
}

std::vector<int> Rows(QImage const& image)
{
    std::vector<int> rows;
    for (int y = 0; y < image.height(); ++y)
        rows.push_back(image.pixelColor(0, y).green());
    return rows;
}

std::vector<int> RowsOf(DecodedVideoFrame const& picture, Fields fields, bool lowerFieldFirst = false)
{
    PictureLook look;
    look.fields = fields;
    return Rows(look.ImageOf(picture, lowerFieldFirst));
}

} // namespace

TEST(PictureLookTest, ShowsASingleChannelInGrey)
{
    QColor const colour(200, 100, 50);
    EXPECT_EQ(Looked(WithChannels(Channels::Red), colour), QColor(200, 200, 200));
    EXPECT_EQ(Looked(WithChannels(Channels::Green), colour), QColor(100, 100, 100));
    EXPECT_EQ(Looked(WithChannels(Channels::Blue), colour), QColor(50, 50, 50));
    EXPECT_EQ(Looked(WithChannels(Channels::All), colour), colour);
}

TEST(PictureLookTest, WeighsLumaAsBt709Does)
{
    EXPECT_EQ(Looked(WithChannels(Channels::Luma), QColor(255, 0, 0)), QColor(54, 54, 54));    // 54.2
    EXPECT_EQ(Looked(WithChannels(Channels::Luma), QColor(0, 255, 0)), QColor(182, 182, 182)); // 182.4
    EXPECT_EQ(Looked(WithChannels(Channels::Luma), QColor(0, 0, 255)), QColor(18, 18, 18));    // 18.4
    EXPECT_EQ(Looked(WithChannels(Channels::Luma), QColor(255, 255, 255)), QColor(255, 255, 255));
}

// 2 to the power of 1 / 2.2 is 1.37.
TEST(PictureLookTest, DoublesTheLightWithEachStop)
{
    EXPECT_EQ(Looked(WithHalfStops(2), QColor(100, 50, 200)), QColor(137, 69, 255));
    EXPECT_EQ(Looked(WithHalfStops(-2), QColor(100, 50, 200)), QColor(73, 36, 146));
    EXPECT_EQ(Looked(WithHalfStops(1), QColor(100, 0, 0)), QColor(117, 0, 0));
}

TEST(PictureLookTest, LeavesWhatIsNoPictureAsItIs)
{
    QImage image(1, 1, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    WithHalfStops(4).Apply(image);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
}

TEST(PictureLookTest, DoublesTheRowsOfTheFirstField)
{
    auto const picture = Column({10, 20, 30, 40, 50});
    EXPECT_EQ(RowsOf(picture, Fields::First), (std::vector<int>{10, 10, 30, 30, 50}));
    EXPECT_EQ(RowsOf(picture, Fields::First, /*lowerFieldFirst=*/true), (std::vector<int>{20, 20, 40, 40, 50}));
    EXPECT_EQ(RowsOf(picture, Fields::Both), (std::vector<int>{10, 20, 30, 40, 50}));
}

// A quarter of each neighbour and half of the row itself; the edges stand for the rows beyond them.
TEST(PictureLookTest, BlendsTheFields)
{
    auto const picture = Column({0, 200, 0, 200, 100});
    EXPECT_EQ(RowsOf(picture, Fields::Blended), (std::vector<int>{50, 100, 100, 125, 125}));
}

TEST(PictureLookTest, ReadsTheRecordItselfWithBothFields)
{
    auto const picture = Column({1, 2});
    EXPECT_EQ(PictureLook().ImageOf(picture, false).constBits(), picture.data);
}

TEST(PictureLookTest, SaysWhatItChanges)
{
    PictureLook look;
    EXPECT_EQ(look.Describe(), "");
    look.channels = Channels::Luma;
    look.halfStops = -3;
    look.fields = Fields::First;
    EXPECT_EQ(look.Describe(), "Luma, Exposure −1.5, First field");
}
