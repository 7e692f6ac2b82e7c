#include "tests/support/Clips.h"

#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "playback/PictureReader.h"

#include <gtest/gtest.h>

// How the next picture is reached. The check whether to stop is asked once a packet: that counts the packets read.

namespace {

class PictureReaderTest : public testing::Test
{
protected:
    void Open(char const* name)
    {
        info = std::make_shared<MediaInfo>(Clips::Made(name));
        ASSERT_TRUE(MediaReader::ParseMedia(info));
        reader = std::make_unique<PictureReader>(info, 25.0);
        ASSERT_TRUE(reader->Open());
    }

    // Goes to the picture at `time`; the packets that it took.
    int PacketsTo(long long time)
    {
        int packets = 0;
        StopCheck const count = [&packets] { return ++packets < 0; };
        EXPECT_EQ(reader->SeekTo(time, time, count), PictureSource::Result::Picture);
        std::shared_ptr<DecodedVideoFrame> picture;
        EXPECT_EQ(reader->Read(picture, [] { return false; }), PictureSource::Result::Picture);
        EXPECT_EQ(picture->startTime, time);
        return packets;
    }

    std::shared_ptr<MediaInfo> info;
    std::unique_ptr<PictureReader> reader;
};

// Key pictures are at 0, 10 and 20 s, 250 pictures apart.

TEST_F(PictureReaderTest, GoesToTheKeyPictureBefore)
{
    Open("gop250.mp4");
    EXPECT_GE(PacketsTo(4000000), 100);
    EXPECT_LE(PacketsTo(10400000), 20);
}

TEST_F(PictureReaderTest, ReadsOnWhereNoKeyPictureIsOnTheWay)
{
    Open("gop250.mp4");
    PacketsTo(4000000);
    EXPECT_LE(PacketsTo(7000000), 90);
    EXPECT_LE(PacketsTo(9000000), 70);
}

TEST_F(PictureReaderTest, KnowsTheLengthOfGroupsThatItHasRead)
{
    Open("gop250.mp4");
    PacketsTo(9800000);
    PacketsTo(10200000); // reads across the border
    PacketsTo(12000000);
    EXPECT_LE(PacketsTo(19000000), 190);
    EXPECT_LE(PacketsTo(21600000), 80);
}

TEST_F(PictureReaderTest, TheNextPictureIsNotDecodedAnew)
{
    Open("gop250.mp4");
    PacketsTo(8000000);
    EXPECT_LE(PacketsTo(8040000), 12);
    EXPECT_LE(PacketsTo(8120000), 12);
}

TEST_F(PictureReaderTest, FindsTheLastPictureOfAShortOpenGroup)
{
    Open("open-gop-short-end.mp4");
    for (long long time = 3960000; time >= 3000000; time -= 40000)
        PacketsTo(time);
}

TEST_F(PictureReaderTest, AStreamWithoutTimesIsReadOn)
{
    Open("raw.264");
    PacketsTo(1000000);
    EXPECT_LE(PacketsTo(2800000), 60);
}

} // namespace
