#include "tools/PictureFinder.h"

#include "decode/DecodedVideoFrame.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/tools/ToolMedia.h"
#include "tools/MediaSource.h"
#include "tools/SourceReader.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using Result = PictureFinder::Result;

struct Search
{
    explicit Search(QString const& path) : source(path), isOpen(source.Open()), reader(source), finder(source, reader)
    {}

    LogCapture log;
    MediaSource source;
    bool isOpen;
    SourceReader reader;
    PictureFinder finder;
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

// The times at which the library shows the pictures of a plain decode. Where the file tells them, they are the same.
std::vector<PlainPicture> WithShownTimes(std::vector<PlainPicture> pictures, Search& search)
{
    SourceReader::Records records;
    EXPECT_TRUE(search.reader.StartOver());
    while (search.reader.Read(records)) {
    }
    EXPECT_EQ(records.pictures.size(), static_cast<int>(pictures.size()) + 1); // and the mark of the end
    for (size_t i = 0; i < pictures.size(); ++i) {
        long long const shown = records.pictures[static_cast<int>(i)]->startTime;
        if (pictures[0].time == 0 && pictures[i].time >= 0) {
            EXPECT_EQ(shown, pictures[i].time) << i;
        }
        pictures[i].time = shown;
    }
    return pictures;
}

// Every picture found equals the one of a plain decode from the beginning.
void ExpectExact(QString const& path)
{
    SCOPED_TRACE(path.toStdString());
    Search search(path);
    ASSERT_TRUE(search.isOpen);
    auto const pictures = WithShownTimes(DecodePlainly(path), search);
    ASSERT_GT(pictures.size(), 1u);
    for (long long const time : TimesWithin(pictures)) {
        SCOPED_TRACE(time);
        ASSERT_EQ(search.finder.Find(time), Result::Found);
        DecodedVideoFrame const& found = *search.finder.GetPicture();
        PlainPicture const expected = ShowingAt(pictures, time);
        EXPECT_EQ(found.startTime, expected.time);
        EXPECT_EQ(Md5OfPicture(found.data, found.width, found.height), expected.md5);
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

TEST(PictureFinderTest, IsExactInMp4)
{
    ExpectExact(MovieWithReordering());
}

TEST(PictureFinderTest, IsExactInOtherContainers)
{
    for (char const* name : {"movie.mkv", "movie.ts", "movie.flv", "movie.mov"})
        ExpectExact(Rewrapped(name, MovieWithReordering()));
}

TEST(PictureFinderTest, IsExactInAviWithReordering)
{
    ExpectExact(MovingPicture("b.avi", {"-c:v", "libx264", "-g", "50", "-bf", "3"}));
    ExpectExact(MovingPicture("b4.avi", {"-c:v", "mpeg4", "-g", "50", "-bf", "2"}));
}

TEST(PictureFinderTest, IsExactInMpegStreams)
{
    for (char const* codec : {"mpeg1video", "mpeg2video"}) {
        QStringList const arguments = {"-c:v", codec, "-g", "25", "-bf", "2", "-c:a", "mp2"};
        ExpectExact(Movie(QString(codec) + ".mpg", arguments));
        ExpectExact(Movie(QString(codec) + ".ts", arguments));
    }
}

TEST(PictureFinderTest, IsExactWithOpenGroups)
{
    QString const path =
        MovingPicture("open.mp4", {"-c:v", "libx264", "-x264-params", "open-gop=1:keyint=25:min-keyint=25:bframes=3"});
    ExpectExact(path);
    ExpectExact(Rewrapped("open.ts", path));
    ExpectExact(Rewrapped("open.mkv", path));
}

// These decoders make pictures from nothing when they begin between key frames, where a transport stream lands.
TEST(PictureFinderTest, IsExactWhereSeeksLandBetweenKeyFrames)
{
    QStringList const picture = {"-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=8"};
    ExpectExact(MakeMedia("p.ts", picture + QStringList{"-c:v", "mpeg4", "-q:v", "2", "-g", "60", "-bf", "2"}));
    ExpectExact(MakeMedia("h.ts", picture + QStringList{"-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
                                                        "keyint=60:log-level=none"}));
}

TEST(PictureFinderTest, IsExactWhereEveryPacketIsFlaggedAsKeyFrame)
{
    ExpectExact(WithoutListOfKeyFrames(MovingPicture("p.mp4", {"-c:v", "mpeg4", "-g", "50"})));
}

// The seek filter drops the picture that shows, when it began long before.
TEST(PictureFinderTest, IsExactWithVariableRates)
{
    QString const path = MovingPicture("vfr.mp4", {"-vf", "select='lt(mod(n,40),8)+eq(mod(n,40),30)'", "-vsync", "vfr",
                                                   "-c:v", "libx264", "-g", "20", "-bf", "2"});
    ExpectExact(path);
    ExpectExact(Rewrapped("vfr.mkv", path));
    ExpectExact(MakeMedia("slides.mp4", {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=1/4:duration=40", "-c:v",
                                         "libx264", "-bf", "2"}));
}

TEST(PictureFinderTest, IsExactBehindAnEditList)
{
    ExpectExact(Rewrapped("edited.mp4", MovieWithReordering(), {"-ss", "1.3"}));
}

TEST(PictureFinderTest, IsExactWhereTheFirstPictureComesLate)
{
    ExpectExact(Rewrapped("late.mkv", MovieWithReordering(), {"-output_ts_offset", "7"}));
    ExpectExact(Rewrapped("late.ts", MovieWithReordering(), {"-output_ts_offset", "7"}));
}

TEST(PictureFinderTest, GivesTheLastPictureUntilTheFileEnds)
{
    Search search(MovingPicture("end.mp4", {"-c:v", "libx264"}));
    ASSERT_EQ(search.finder.Find(3999999), Result::Found);
    EXPECT_EQ(search.finder.GetPicture()->startTime, 3960000);
    EXPECT_EQ(search.finder.Find(4000000), Result::PastTheEnd);
    EXPECT_EQ(search.finder.GetPicture()->startTime, 3960000);
    EXPECT_EQ(search.finder.Find(3600000000), Result::PastTheEnd);
}

TEST(PictureFinderTest, GivesAnImageAtEveryTime)
{
    Search search(MakeMedia("one.png", Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"}));
    EXPECT_EQ(search.finder.Find(0), Result::Found);
    EXPECT_EQ(search.finder.Find(3600000000), Result::Found);
}

TEST(PictureFinderTest, GivesThePictureBeforeDamage)
{
    Search damaged(WithDamagedPictures(99)); // all but the first
    ASSERT_TRUE(damaged.isOpen);
    ASSERT_EQ(damaged.finder.Find(2000000), Result::Found);
    EXPECT_EQ(damaged.finder.GetPicture()->startTime, 0);
}

TEST(PictureFinderTest, FindsNothingWhereNothingOpens)
{
    Search search("/nowhere/a.mp4");
    EXPECT_EQ(search.finder.Find(0), Result::CannotOpen);
}
