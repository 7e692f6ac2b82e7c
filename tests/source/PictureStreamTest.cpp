#include "source/PictureStream.h"

#include "decode/DecodedVideoFrame.h"
#include "source/Source.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/tools/ToolMedia.h"

#include <gtest/gtest.h>

#include <random>

namespace {

struct Search
{
    explicit Search(QString const& path) : source(Source::OpenFile(path))
    {
        source.SetColours({}); // as a plain conversion does
        pictures = source.OpenPictures();
    }

    PictureStream::Picture At(long long time) const
    {
        PictureStream::Picture picture;
        EXPECT_EQ(pictures->ReadAt(time, picture), ReadResult::Got) << time;
        return picture;
    }

    LogCapture log;
    Source source;
    std::unique_ptr<PictureStream> pictures;
};

// Some by chance, and around some cuts from one picture to the next.
std::vector<long long> TimesWithin(std::vector<PlainPicture> const& pictures)
{
    std::mt19937 random(7);
    std::vector<long long> times{0, pictures.back().time};
    for (int i = 0; i < 6; ++i) {
        times.push_back(static_cast<long long>(random() % static_cast<unsigned long>(pictures.back().time + 1)));
        long long const start = pictures[1 + random() % (pictures.size() - 1)].time;
        times.insert(times.end(), {start - 1, start});
    }
    return times;
}

// What a plain decode shows, in media time: it begins with the first picture, or with 0 where the first comes before
// it.
std::vector<PlainPicture> Shown(std::vector<PlainPicture> pictures, Search& search)
{
    std::vector<long long> times;
    for (PictureStream::Picture picture; search.pictures->Read(picture) == ReadResult::Got;)
        times.push_back(picture->startTime);
    EXPECT_EQ(times.size(), pictures.size());
    for (size_t i = 0; i < std::min(pictures.size(), times.size()); ++i) {
        if (pictures[0].time == 0 && pictures[i].time >= 0) {
            EXPECT_EQ(times[i], pictures[i].time) << i;
        }
        pictures[i].time = times[i];
    }
    return pictures;
}

// Every picture found equals the one of a plain decode from the beginning.
void ExpectExact(QString const& path)
{
    SCOPED_TRACE(path.toStdString());
    Search search(path);
    ASSERT_TRUE(search.pictures);
    auto const pictures = Shown(DecodePlainly(path), search);
    ASSERT_GT(pictures.size(), 1u); // otherwise there is nothing to find
    for (long long const time : TimesWithin(pictures)) {
        SCOPED_TRACE(time);
        auto const found = search.At(time);
        PlainPicture const expected = ShowingAt(pictures, time);
        EXPECT_EQ(found->startTime, expected.time);
        EXPECT_EQ(Md5OfPicture(found->data, found->width, found->height), expected.md5);
    }
}

QString MovieWithReordering()
{
    return Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
}

QString WithoutListOfKeyFrames(QString const& source)
{
    return PatchMedia("all-flagged.mp4", source, "stss", "free");
}

} // namespace

TEST(PictureStreamTest, IsExactInMp4)
{
    ExpectExact(MovieWithReordering());
}

TEST(PictureStreamTest, IsExactInOtherContainers)
{
    for (char const* name : {"movie.mkv", "movie.ts", "movie.flv", "movie.mov"})
        ExpectExact(Rewrapped(name, MovieWithReordering()));
}

TEST(PictureStreamTest, IsExactInAviWithReordering)
{
    ExpectExact(MovingPicture("b.avi", {"-c:v", "libx264", "-g", "50", "-bf", "3"}));
    ExpectExact(MovingPicture("b4.avi", {"-c:v", "mpeg4", "-g", "50", "-bf", "2"}));
}

TEST(PictureStreamTest, IsExactInMpegStreams)
{
    for (char const* codec : {"mpeg1video", "mpeg2video"}) {
        QStringList const arguments = {"-c:v", codec, "-g", "25", "-bf", "2", "-c:a", "mp2"};
        ExpectExact(Movie(QString(codec) + ".mpg", arguments));
        ExpectExact(Movie(QString(codec) + ".ts", arguments));
    }
}

TEST(PictureStreamTest, IsExactWithOpenGroups)
{
    QString const path =
        MovingPicture("open.mp4", {"-c:v", "libx264", "-x264-params", "open-gop=1:keyint=25:min-keyint=25:bframes=3"});
    ExpectExact(path);
    ExpectExact(Rewrapped("open.ts", path));
    ExpectExact(Rewrapped("open.mkv", path));
}

// FFmpeg's decoder of H.264 loses the last two pictures when it begins with the last group, and the container's
// duration does not tell that this is the last one.
TEST(PictureStreamTest, IsExactAtTheEndOfOpenGroupsWhereSoundGoesOn)
{
    QStringList const arguments = {"-c:v", "libx264", "-x264-params",
                                   "open-gop=1:keyint=12:min-keyint=12:bframes=3:b-adapt=0:scenecut=0"};
    QString const pictures = MakeMedia("open-75.mp4", Picture("96x64", 25, 3.0) + arguments);
    QStringList const both = Tone(44100, 1, 6.0) + QStringList{"-map", "0", "-map", "1", "-c:v", "copy", "-c:a"};
    for (auto const& [name, codec] : {std::pair("sound-goes-on.mp4", "aac"), std::pair("sound-goes-on.ts", "mp2"),
                                      std::pair("sound-goes-on.mkv", "pcm_s16le")}) { // a lead-in would move all times
        SCOPED_TRACE(name);
        Search search(MakeMedia(name, QStringList{"-i", pictures} + both + QStringList{codec}));
        PictureStream::Picture picture;
        for (long long last = 2960000; last >= 2400000; last -= 40000) {
            long long time = last;
            EXPECT_EQ(search.At(last)->startTime, last);
            while (search.pictures->Read(picture) == ReadResult::Got)
                EXPECT_EQ(picture->startTime, time += 40000);
            EXPECT_EQ(time, 2960000);
            EXPECT_EQ(search.pictures->GetEnd(), 3000000);
        }
    }
}

// Of a recording that is cut within its last picture, FFmpeg's decoder keeps something through a flush.
TEST(PictureStreamTest, IsExactAfterAnEndWithinAPicture)
{
    QString const whole = MovingPicture("cut-whole.ts", {"-c:v", "libx264", "-preset", "ultrafast", "-x264-params",
                                                         "bframes=3:b-adapt=0:keyint=12:open-gop=1", "-threads", "1"});
    QByteArray const bytes = ReadMedia(whole);
    constexpr int packet = 188;
    for (int const percent : {55, 62, 69, 76, 83}) {
        SCOPED_TRACE(percent);
        QString const path = WriteMedia(QStringLiteral("cut-%1.ts").arg(percent),
                                        bytes.left(bytes.size() / packet * percent / 100 * packet));
        auto const expected = DecodePlainly(path);
        Search search(path);
        for (PictureStream::Picture picture; search.pictures->Read(picture) == ReadResult::Got;)
            continue;
        for (size_t i = 0; i < 40; ++i) {
            auto const found = search.At(expected[i].time);
            EXPECT_EQ(found->startTime, expected[i].time);
            EXPECT_EQ(Md5OfPicture(found->data, found->width, found->height), expected[i].md5) << i;
        }
    }
}

// FFmpeg finds no key pictures of this codec in Matroska, and leaves the file at some other place.
TEST(PictureStreamTest, ComesToEveryPictureBackwardsWhereSeekingFails)
{
    Search search(MovingPicture("vc2.mkv", {"-c:v", "vc2", "-pix_fmt", "yuv422p", "-strict", "-2"}));
    for (long long until = 4000000; until > 0;) {
        PictureStream::Picture picture;
        ASSERT_EQ(search.pictures->ReadNear(until - 1, 0, picture, neverStop), ReadResult::Got);
        long long const first = picture->startTime;
        long long last = first;
        while (search.pictures->Read(picture) == ReadResult::Got && picture->startTime < until)
            last = picture->startTime;
        ASSERT_EQ(last, until - 40000);
        until = first;
    }
}

// These decoders make pictures from nothing when they begin between key frames, where a transport stream lands.
TEST(PictureStreamTest, IsExactWhereSeeksLandBetweenKeyFrames)
{
    QStringList const picture = {"-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=8"};
    ExpectExact(MakeMedia("p.ts", picture + QStringList{"-c:v", "mpeg4", "-q:v", "2", "-g", "60", "-bf", "2"}));
    ExpectExact(MakeMedia("h.ts", picture + QStringList{"-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                                                        "keyint=60:log-level=none"}));
}

TEST(PictureStreamTest, IsExactWhereEveryPacketIsFlaggedAsKeyFrame)
{
    ExpectExact(WithoutListOfKeyFrames(MovingPicture("p.mp4", {"-c:v", "mpeg4", "-g", "50"})));
}

// The seek filter drops the picture that shows, when it began long before.
TEST(PictureStreamTest, IsExactWithVariableRates)
{
    QString const path = MovingPicture("vfr.mp4", {"-vf", "select='lt(mod(n,40),8)+eq(mod(n,40),30)'", "-vsync", "vfr",
                                                   "-c:v", "libx264", "-g", "20", "-bf", "2"});
    ExpectExact(path);
    ExpectExact(Rewrapped("vfr.mkv", path));
    ExpectExact(MakeMedia("slides.mp4", {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=1/4:duration=40", "-c:v",
                                         "libx264", "-bf", "2"}));
}

TEST(PictureStreamTest, IsExactBehindAnEditList)
{
    ExpectExact(Rewrapped("edited.mp4", MovieWithReordering(), {"-ss", "1.3"}));
}

TEST(PictureStreamTest, IsExactWhereTheFirstPictureComesLate)
{
    ExpectExact(Rewrapped("late.mkv", MovieWithReordering(), {"-output_ts_offset", "7"}));
    ExpectExact(Rewrapped("late.ts", MovieWithReordering(), {"-output_ts_offset", "7"}));
}

TEST(PictureStreamTest, GivesTheLastPictureForEveryLaterTime)
{
    Search search(MovingPicture("end.mp4", {"-c:v", "libx264"}));
    for (long long const time : {3999999LL, 4000000LL, 3600000000LL}) {
        auto const last = search.At(time);
        EXPECT_EQ(last->startTime, 3960000);
        EXPECT_EQ(search.source.IsOver(*last, time), time > 3999999);
    }
}

TEST(PictureStreamTest, GivesAnImageAtEveryTime)
{
    Search search(MakeMedia("one.png", Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"}));
    for (long long const time : {0LL, 3600000000LL})
        EXPECT_FALSE(search.source.IsOver(*search.At(time), time));
}

TEST(PictureStreamTest, GivesThePictureBeforeDamage)
{
    Search damaged(WithDamagedPictures(99)); // all but the first
    EXPECT_EQ(damaged.At(2000000)->startTime, 0);
}

TEST(PictureStreamTest, IsNullWhereNothingOpens)
{
    Search search("/nowhere/a.mp4");
    EXPECT_FALSE(search.pictures);
}

// The drain meets pictures from before the target and drops them, which ends it; what is left in the decoder must come.
TEST(PictureStreamTest, FinishesADrainThatDroppedPicturesBreakOff)
{
    Search search(MovingPicture("long-delay.mp4", {"-c:v", "libx264", "-x264-params", "keyint=250:bframes=3"}));
    EXPECT_EQ(search.At(3960000)->startTime, 3960000);
    EXPECT_EQ(search.At(3880000)->startTime, 3880000);
    PictureStream::Picture next;
    for (long long const start : {3920000LL, 3960000LL}) {
        ASSERT_EQ(search.pictures->Read(next), ReadResult::Got);
        EXPECT_EQ(next->startTime, start);
    }
    EXPECT_EQ(search.pictures->Read(next), ReadResult::End);
}

TEST(PictureStreamTest, ReadsOnToTheLastPictureFromEveryTime)
{
    Search search(Rewrapped("movie.ts", MovieWithReordering()));
    for (long long const time : {100000LL, 1990000LL, 2000000LL, 2010000LL, 3970000LL}) {
        PictureStream::Picture picture = search.At(time);
        EXPECT_LE(picture->startTime, time);
        EXPECT_GE(picture->endTime, time);
        long long last = picture->startTime;
        for (; search.pictures->Read(picture) == ReadResult::Got; last = picture->startTime)
            EXPECT_EQ(picture->startTime, last + 40000);
        EXPECT_EQ(last, 3960000);
    }
}

TEST(PictureStreamTest, CanFindAnyTimeAgainAfterTheEnd)
{
    Search search(MovieWithReordering());
    PictureStream::Picture picture;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(search.At(0)->startTime, 0);
        int count = 1;
        while (search.pictures->Read(picture) == ReadResult::Got)
            ++count;
        EXPECT_EQ(count, 100);
        EXPECT_EQ(search.At(2000000)->startTime, 2000000);
    }
}
