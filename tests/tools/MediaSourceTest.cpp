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

template <typename Value>
void Append(QByteArray& bytes, Value value)
{
    bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
}

void AppendAttribute(QByteArray& bytes, char const* name, char const* type, QByteArray const& value)
{
    bytes += QByteArray(name) + '\0' + type + '\0';
    Append<int32_t>(bytes, static_cast<int32_t>(value.size()));
    bytes += value;
}

// A grey OpenEXR image without compression, which not every ffmpeg can write.
QString ExrStill(QString const& name)
{
    constexpr int width = 32;
    constexpr int height = 16;
    constexpr int channels = 3;
    QByteArray channelList;
    for (char const channel : {'B', 'G', 'R'}) {
        channelList += QByteArray(1, channel) + '\0';
        for (int32_t const value : {1, 0, 1, 1}) // half floats, for looking at, every pixel
            Append(channelList, value);
    }
    QByteArray window;
    for (int32_t const edge : {0, 0, width - 1, height - 1})
        Append(window, edge);
    QByteArray one;
    Append(one, 1.0f);

    QByteArray bytes = QByteArray::fromHex("762f310102000000");
    AppendAttribute(bytes, "channels", "chlist", channelList + '\0');
    AppendAttribute(bytes, "compression", "compression", QByteArray(1, 0));
    AppendAttribute(bytes, "dataWindow", "box2i", window);
    AppendAttribute(bytes, "displayWindow", "box2i", window);
    AppendAttribute(bytes, "lineOrder", "lineOrder", QByteArray(1, 0));
    AppendAttribute(bytes, "pixelAspectRatio", "float", one);
    AppendAttribute(bytes, "screenWindowCenter", "v2f", QByteArray(8, 0));
    AppendAttribute(bytes, "screenWindowWidth", "float", one);
    bytes += '\0';

    constexpr int rowBytes = width * channels * 2;
    auto const rows = static_cast<uint64_t>(bytes.size()) + height * sizeof(uint64_t);
    for (uint64_t row = 0; row < height; ++row)
        Append(bytes, rows + row * (2 * sizeof(int32_t) + rowBytes));
    for (int32_t row = 0; row < height; ++row) {
        Append(bytes, row);
        Append<int32_t>(bytes, rowBytes);
        bytes += QByteArray::fromHex("0038").repeated(rowBytes / 2); // 0.5
    }
    return WriteMedia(name, bytes);
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
        Opened const opened(QString(name).endsWith("exr") ? ExrStill(name) : Still(name));
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
    EXPECT_TRUE(Opened(ExrStill("a.exr")).source.GetInfo()->IsLinearColorSpace());
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
    EXPECT_TRUE(Opened(MovingPicture("a.mp4", {"-c:v", "libx264"})).source.CanSeek());
}

TEST(MediaSourceTest, NamesStreamsWithoutDecoder)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    Opened const opened(Clips::Real("mp4-good-video-unknown-audio.mp4"));
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
