#include "tools/WavePicture.h"

#include "source/Source.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"
#include "tools/SoundLevels.h"

#include <QtEndian>

#include <gtest/gtest.h>

namespace {

// A picture of so many columns of `channels` x 16-bit sound, one sample a column.
RgbPicture Draw(QString const& name, int channels, std::vector<short> const& samples, int height)
{
    QByteArray data(static_cast<int>(2 * samples.size()), 0);
    qToLittleEndian<short>(samples.data(), static_cast<int>(samples.size()), data.data());
    OutputChannels const output(8);
    LogCapture const log;
    Source const source = Source::OpenFile(WriteMedia(name, WavBytes(1, channels, 1000, 16, data)));
    SoundLevels levels(source);
    EXPECT_EQ(levels.Read({}, static_cast<int>(samples.size()) / channels), SoundLevels::Result::Done);
    return WavePicture::Draw(levels, height);
}

// The rows from `top` on that are drawn on in a column, as the first and the last of them; -1 without any.
std::pair<int, int> DrawnRows(RgbPicture const& picture, int column, int top, int height)
{
    std::pair<int, int> rows{-1, -1};
    for (int y = top; y < top + height; ++y) {
        size_t const pixel =
            static_cast<size_t>(y) * picture.RowBytes() + 3 * static_cast<size_t>(WavePicture::SideSpace() + column);
        bool const isDrawn = picture.bytes.at(pixel + 1) > 100; // the green of lines, and of nothing else in a lane
        if (isDrawn)
            rows = {rows.first < 0 ? y : rows.first, y};
    }
    return rows;
}

} // namespace

// One lane of 100 rows from row 12 on; 36 below it.
TEST(WavePictureTest, DrawsFromTheHighestToTheLowestSample)
{
    std::vector<short> samples(50, 0);
    samples[10] = 32767;
    samples[20] = -32768;
    samples[30] = 16384;
    RgbPicture const picture = Draw("levels.wav", 1, samples, 148);
    EXPECT_EQ(picture.width, 50 + 2 * 12);
    EXPECT_EQ(picture.height, 148);
    EXPECT_EQ(DrawnRows(picture, 10, 12, 100), std::make_pair(12, 12));
    EXPECT_EQ(DrawnRows(picture, 20, 12, 100), std::make_pair(111, 111));
    EXPECT_EQ(DrawnRows(picture, 30, 12, 100), std::make_pair(12 + 25, 12 + 25));
}

TEST(WavePictureTest, DrawsSilenceAsALineInTheMiddle)
{
    RgbPicture const picture = Draw("silence.wav", 1, std::vector<short>(50, 0), 148);
    for (int column = 0; column < 50; ++column)
        EXPECT_EQ(DrawnRows(picture, column, 12, 100), std::make_pair(62, 62)) << column;
}

// Two lanes of 50 rows, 6 apart.
TEST(WavePictureTest, GivesEachChannelALane)
{
    std::vector<short> samples;
    for (int i = 0; i < 50; ++i)
        samples.insert(samples.end(), {32767, -32768});
    RgbPicture const picture = Draw("lanes.wav", 2, samples, 12 + 50 + 6 + 50 + 36);
    EXPECT_EQ(DrawnRows(picture, 5, 12, 50), std::make_pair(12, 12));
    EXPECT_EQ(DrawnRows(picture, 5, 68, 50), std::make_pair(117, 117));
}

TEST(WavePictureTest, TellsTheHeightsThatChannelsNeed)
{
    EXPECT_EQ(WavePicture::DefaultHeight(1), 12 + 120 + 36);
    EXPECT_EQ(WavePicture::DefaultHeight(6), 12 + 6 * 120 + 5 * 6 + 36);
    EXPECT_EQ(WavePicture::LeastHeight(2), 12 + 2 * 9 + 6 + 36);
}
