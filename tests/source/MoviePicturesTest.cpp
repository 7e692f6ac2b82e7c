#include "source/MoviePictures.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "tests/support/Clips.h"
#include "tests/support/Reference.h"

extern "C" {
#include <libavutil/cpu.h>
}

#include <gtest/gtest.h>

#include <algorithm>

// How the next picture is reached. The check whether to stop is asked once a packet: that counts the packets read.
// Each test says how many pictures lie on the way.

namespace {

// Packets that a decoder takes before the picture of the first one comes out: one for each of its threads, of which
// FFmpeg has one more than there are processors, but at most 16; and one for each picture that waits for its order.
int HeldBack(int picturesReordered)
{
    return std::min(av_cpu_count() + 1, 16) + picturesReordered;
}

class MoviePicturesTest : public testing::Test
{
protected:
    void Open(char const* name)
    {
        info = std::make_shared<MediaInfo>(Clips::Made(name));
        ASSERT_TRUE(MediaReader::ParseMedia(info));
        reader = std::make_unique<MoviePictures>(info, 25.0);
        ASSERT_TRUE(reader->Open());
    }

    // Goes to the picture at `time`; the packets that it took.
    int PacketsTo(long long time)
    {
        int packets = 0;
        StopCheck const count = [&packets] { return ++packets < 0; };
        PictureStream::Picture picture;
        EXPECT_EQ(reader->ReadAt(time, picture, count), ReadResult::Got);
        EXPECT_EQ(picture->startTime, time);
        return packets;
    }

    std::shared_ptr<MediaInfo> info;
    std::unique_ptr<MoviePictures> reader;
};

// Key pictures are at 0, 10 and 20 s, 250 pictures apart, with three pictures between those that they refer to.
constexpr int picturesReordered = 3;

TEST_F(MoviePicturesTest, GoesToTheKeyPictureBefore)
{
    Open("gop250.mp4");
    int const packets = PacketsTo(4000000);
    EXPECT_GE(packets, 101);
    EXPECT_LE(packets, 101 + 2 * HeldBack(picturesReordered)); // the first picture of all comes before
    EXPECT_LE(PacketsTo(10400000), 11 + HeldBack(picturesReordered));
}

TEST_F(MoviePicturesTest, ReadsOnWhereNoKeyPictureIsOnTheWay)
{
    Open("gop250.mp4");
    PacketsTo(4000000);
    EXPECT_LE(PacketsTo(7000000), 75 + picturesReordered);
    EXPECT_LE(PacketsTo(9000000), 50 + picturesReordered);
}

TEST_F(MoviePicturesTest, KnowsTheLengthOfGroupsThatItHasRead)
{
    Open("gop250.mp4");
    PacketsTo(9800000);
    PacketsTo(10200000); // reads across the border
    PacketsTo(12000000);
    EXPECT_LE(PacketsTo(19000000), 175 + picturesReordered);
    EXPECT_LE(PacketsTo(21600000), 65 + picturesReordered);
}

TEST_F(MoviePicturesTest, TheNextPictureIsNotDecodedAnew)
{
    Open("gop250.mp4");
    PacketsTo(8000000);
    EXPECT_LE(PacketsTo(8040000), 1 + picturesReordered);
    EXPECT_LE(PacketsTo(8120000), 2 + picturesReordered);
}

TEST_F(MoviePicturesTest, FindsTheLastPictureOfAShortOpenGroup)
{
    Open("open-gop-short-end.mp4");
    for (long long time = 3960000; time >= 3000000; time -= 40000)
        PacketsTo(time);
}

// Also while the last picture is found again, which takes some 170 questions here: the sound goes on after it.
TEST_F(MoviePicturesTest, ReadsOnWhereItWasStopped)
{
    constexpr long long step = 40000;
    int asked = 200;
    for (int stopAt = 1; stopAt <= asked; stopAt += 5) {
        Open("short-video.mp4");
        PictureStream::Picture picture;
        ASSERT_EQ(reader->ReadAt(1840000, picture), ReadResult::Got);
        asked = 0;
        StopCheck const stopOnce = [&] { return ++asked == stopAt; };
        long long last = 1840000;
        ReadResult result = ReadResult::Got;
        while (result != ReadResult::End) {
            result = reader->Read(picture, stopOnce);
            last += result == ReadResult::Got ? step : 0;
            ASSERT_EQ(picture->startTime, last) << "stopped at question " << stopAt;
        }
        ASSERT_EQ(last, 1960000) << "stopped at question " << stopAt;
    }
    EXPECT_GT(asked, 100);
}

// Its codec holds back several pictures, which take much memory once they are converted.
TEST_F(MoviePicturesTest, DrainsItsCodecOnePictureAtATime)
{
    Open("gop250.mp4");
    PacketsTo(21800000);
    PictureStream::Picture picture;
    for (long long decoded = reader->GetDecodedCount(); reader->Read(picture) == ReadResult::Got;) {
        EXPECT_LE(reader->GetDecodedCount() - decoded, 1);
        decoded = reader->GetDecodedCount();
    }
    EXPECT_EQ(picture->startTime, 21960000);
}

TEST_F(MoviePicturesTest, AStreamWithoutTimesIsReadOn)
{
    Open("raw.264");
    PacketsTo(1000000);
    EXPECT_LE(PacketsTo(2800000), 45 + 2); // two pictures lie between others
}

TEST_F(MoviePicturesTest, PicturesOverBeforeZeroAreNotTheFirst)
{
    Open("negative-start.ts");
    ASSERT_EQ(info->GetStartTime(), 0);
    std::shared_ptr<DecodedVideoFrame> picture;
    ASSERT_EQ(reader->Read(picture), ReadResult::Got);
    auto const expected = Reference::DecodePictures(Clips::Made("negative-start.ts")).front();
    EXPECT_EQ(picture->startTime, 0);
    EXPECT_EQ(Reference::HashOf(picture->data, picture->width, picture->height, 576), expected.hash);
}

// Asked for a media time, the container would land at its start, 100 pictures too early. The key picture is the fourth
// before; each picture has fewer than two packets of sound.
TEST_F(MoviePicturesTest, ASeekGoesToTheKeyPictureWhereverTheContainerBegins)
{
    Open("offset.mkv");
    int packets = 0;
    StopCheck const count = [&packets] { return ++packets < 0; };
    PictureStream::Picture picture;
    ASSERT_EQ(reader->ReadAt(4000000, picture, count), ReadResult::Got);
    EXPECT_LE(packets, (5 + 2 * HeldBack(2)) * 3);
}

TEST_F(MoviePicturesTest, ASeekThatLandsLateIsRepeatedEarlier)
{
    for (char const* name : {"stream.ts", "program.mpg", "flash.flv"}) {
        Open(name);
        for (long long moment : {200000LL, 1960000LL, 2040000LL, 3999999LL, 5900000LL}) {
            PictureStream::Picture picture;
            ASSERT_EQ(reader->ReadAt(moment, picture), ReadResult::Got);
            EXPECT_LE(picture->startTime, moment) << name;
            EXPECT_GE(picture->endTime, moment) << name;
        }
    }
}

TEST_F(MoviePicturesTest, APictureThatStaysForLongIsFoundFromItsLastMoment)
{
    Open("long-stills.mp4");
    PictureStream::Picture picture;
    ASSERT_EQ(reader->ReadAt(7990000, picture), ReadResult::Got);
    EXPECT_EQ(picture->startTime, 40000);
    EXPECT_EQ(picture->endTime, 7999999);
}

} // namespace
