#include "tools/MediaSource.h"

#include "media/MediaInfo.h"
#include "tests/support/Clips.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"

#include <gtest/gtest.h>

namespace {

struct Opened
{
    explicit Opened(QString const& path) : source(path), isOpen(source.Open()) {}

    LogCapture log;
    MediaSource source;
    bool isOpen;
};

QString Still(QString const& name, QStringList const& arguments = {})
{
    return MakeMedia(name, Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"} + arguments);
}

QString SoundWithCover()
{
    QString const cover = Still("cover.png");
    return MakeMedia("cover.mp3", Tone(44100, 2, 2.0) + QStringList{"-i", cover, "-map", "0", "-map", "1", "-c:v",
                                                                    "copy", "-disposition:v", "attached_pic"});
}

} // namespace

TEST(MediaSourceTest, TellsStillImagesFromMovies)
{
    for (char const* name : {"a.png", "a.jpg", "a.bmp", "a.tif", "a.tga", "a.dpx", "a.exr", "a.ppm", "a.sgi"}) {
        Opened const opened(Still(name));
        ASSERT_TRUE(opened.isOpen) << name;
        EXPECT_TRUE(opened.source.GetInfo()->IsImage()) << name;
        EXPECT_EQ(opened.source.Describe(), "still image") << name;
        EXPECT_FALSE(opened.source.CanSeek()) << name;
    }
    for (char const* name : {"a.avi", "a.mov", "a.mkv"}) {
        Opened const opened(MovingPicture(name, {"-c:v", "mjpeg"}));
        ASSERT_TRUE(opened.isOpen) << name;
        EXPECT_FALSE(opened.source.GetInfo()->IsImage()) << name;
        EXPECT_EQ(opened.source.Describe(), "movie without sound") << name;
    }
    Opened const animation(MovingPicture("a.gif", {}));
    EXPECT_FALSE(animation.source.GetInfo()->IsImage());
}

TEST(MediaSourceTest, TakesOpenExrForLinearLight)
{
    EXPECT_TRUE(Opened(Still("a.exr")).source.GetInfo()->IsLinearColorSpace());
    EXPECT_FALSE(Opened(Still("a.dpx")).source.GetInfo()->IsLinearColorSpace());
}

TEST(MediaSourceTest, TellsCoverArtFromMovingPictures)
{
    Opened const opened(SoundWithCover());
    ASSERT_TRUE(opened.isOpen);
    EXPECT_TRUE(opened.source.HasCoverOnly());
    EXPECT_EQ(opened.source.Describe(), "sound with cover art");

    Opened const movie(Movie("movie.mp4", {"-c:v", "libx264", "-c:a", "aac"}));
    EXPECT_FALSE(movie.source.HasCoverOnly());
    EXPECT_EQ(movie.source.Describe(), "movie");

    Opened const sound(MakeMedia("sound.wav", Tone(8000, 1, 1.0)));
    EXPECT_FALSE(sound.source.HasCoverOnly());
    EXPECT_EQ(sound.source.Describe(), "sound");
}

TEST(MediaSourceTest, KnowsTheStreamsOfContainersThatAnnounceNone)
{
    Opened const opened(Movie("movie.mpg", {"-c:v", "mpeg2video", "-c:a", "mp2"}));
    ASSERT_TRUE(opened.isOpen);
    EXPECT_EQ(opened.source.GetStreams().size(), 2);
    EXPECT_EQ(opened.source.GetStream(MediaSource::StreamType::Video, 0).codec, "mpeg2video");
    EXPECT_EQ(opened.source.GetStream(MediaSource::StreamType::Audio, 0).codec, "mp2");
    EXPECT_EQ(opened.source.GetStream(MediaSource::StreamType::Audio, 1).index, -1);
}

TEST(MediaSourceTest, DistrustsSeeksWithoutDurationOrTimes)
{
    EXPECT_FALSE(Opened(MovingPicture("a.h264", {"-c:v", "libx264"})).source.CanSeek());
    EXPECT_FALSE(Opened(MakeMedia("a.3gp", Picture("128x96", 10, 2.0) + QStringList{"-c:v", "h263"})).source.CanSeek());
    EXPECT_TRUE(Opened(MovingPicture("a.mp4", {"-c:v", "libx264"})).source.CanSeek());
}

TEST(MediaSourceTest, NamesStreamsWithoutDecoder)
{
    if (!HasClips())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    Opened const opened(ClipPath("mp4-good-video-unknown-audio.mp4"));
    ASSERT_TRUE(opened.isOpen);
    EXPECT_EQ(
        opened.source.DescribeUndecodable(),
        QStringList(
            "audio stream #1 cannot be decoded: FFmpeg has no usable decoder for \"unknown\" (tag [0][0][0][0])"));
}

TEST(MediaSourceTest, LeavesItToTheLibraryToSayWhyAFileDoesNotOpen)
{
    Opened const absent("/nowhere/a.mp4");
    EXPECT_FALSE(absent.isOpen);
    EXPECT_EQ(absent.log.Lines(), (std::vector<LogLine>{ErrorLine("File not found: /nowhere/a.mp4")}));
}
