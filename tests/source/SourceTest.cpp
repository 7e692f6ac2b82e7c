#include "source/Source.h"

#include "media/MediaInfo.h"
#include "source/SoundStream.h"
#include "tests/support/GreyExr.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/OpenedInputs.h"
#include "tests/support/Sessions.h"
#include "tests/tools/ToolMedia.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct Opened
{
    explicit Opened(QString const& path) : source(Source::OpenFile(path)), isOpen(source.IsDescribed()) {}

    LogCapture log;
    Source source;
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

// Large enough that FFmpeg's guess does not reach the second one, in a file whose name tells nothing.
QString ImagesInARow(QString const& suffix, int count)
{
    QByteArray const bytes = ReadMedia(
        MakeMedia("large." + suffix, {"-f", "lavfi", "-i", "testsrc2=size=640x480:rate=1", "-frames:v", "1"}));
    return WriteMedia(QString("%1-in-a-row-%2").arg(count).arg(suffix), bytes.repeated(count));
}

// A transport stream that announces the stream of `pid` and holds none of its packets.
QString WithoutPacketsOf(QString const& name, int pid)
{
    QByteArray const whole = ReadMedia(Movie("announced.ts", {"-c:v", "libx264", "-bf", "0", "-c:a", "aac"}));
    constexpr int packetBytes = 188;
    QByteArray kept;
    for (int at = 0; at + packetBytes <= whole.size(); at += packetBytes) {
        auto const byte = [&](int i) { return static_cast<quint8>(whole.at(at + i)); };
        if (((byte(1) & 0x1f) << 8 | byte(2)) != pid)
            kept += whole.mid(at, packetBytes);
    }
    return WriteMedia(name, kept);
}

} // namespace

TEST(SourceTest, TellsStillImagesFromMovies)
{
    for (char const* name : {"a.png", "a.jpg", "a.bmp", "a.tif", "a.tga", "a.dpx", "a.exr", "a.ppm", "a.sgi"}) {
        Opened const opened(QString(name).endsWith("exr") ? WriteGreyExr(name) : Still(name));
        ASSERT_TRUE(opened.isOpen) << name;
        EXPECT_TRUE(opened.source.GetInfo()->IsImage()) << name;
        EXPECT_EQ(opened.source.Describe(), "still image") << name;
        EXPECT_FALSE(opened.source.IsDurationTrusted()) << name;
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

TEST(SourceTest, TakesOneImageForAStillAndSeveralInARowForAMovie)
{
    for (char const* suffix : {"jpg", "png", "bmp"}) {
        Opened const one(ImagesInARow(suffix, 1));
        EXPECT_EQ(one.source.GetKind(), SourceKind::Still) << suffix;
        Opened const several(ImagesInARow(suffix, 3));
        EXPECT_EQ(several.source.GetKind(), SourceKind::Movie) << suffix;
        EXPECT_EQ(several.source.Describe(), "movie without sound") << suffix;
        auto const pictures = several.source.OpenPictures();
        ASSERT_TRUE(pictures) << suffix;
        std::vector<long long> starts;
        for (PictureStream::Picture picture; pictures->Read(picture) == ReadResult::Got;)
            starts.push_back(picture->startTime);
        EXPECT_EQ(starts, (std::vector<long long>{0, 40000, 80000})) << suffix;
    }
}

TEST(SourceTest, TakesAnAnimatedPngForAMovie)
{
    Opened const opened(MovingPicture("a.apng", {"-frames:v", "3", "-plays", "1"}));
    EXPECT_EQ(opened.source.GetKind(), SourceKind::Movie);
}

TEST(SourceTest, LeavesOutOfTheStillFormatsWhatAHostDoesNotName)
{
    SourceOptions options;
    options.furtherImageFormats.clear();
    EXPECT_EQ(Source::OpenFile(Still("a.bmp"), options).GetKind(), SourceKind::Movie);
    EXPECT_EQ(Source::OpenFile(Still("a.png"), options).GetKind(), SourceKind::Still);
}

TEST(SourceTest, OpensAMovieOnceForEachPurpose)
{
    OutputChannels const channels(2);
    QString const path = Movie("movie.mp4", {"-c:v", "libx264", "-c:a", "aac"});
    int const before = OpenedInputs::Count();
    Source const source = Source::OpenFile(path);
    EXPECT_EQ(OpenedInputs::Count() - before, 1);
    auto const pictures = source.OpenPictures();
    PictureStream::Picture picture;
    EXPECT_EQ(pictures->Read(picture), ReadResult::Got);
    EXPECT_EQ(pictures->ReadAt(3000000, picture), ReadResult::Got);
    EXPECT_EQ(OpenedInputs::Count() - before, 2);
    auto const sound = source.OpenSound();
    SoundStream::Frame frame;
    EXPECT_EQ(sound->Read(frame), ReadResult::Got);
    EXPECT_EQ(OpenedInputs::Count() - before, 3);
}

// Its picture carries that it is, by itself and in a sequence.
TEST(SourceTest, ReadsOpenExrAsLinearLight)
{
    QTemporaryDir const folder;
    for (char const* name : {"take.1.exr", "take.2.exr"})
        ASSERT_TRUE(QFile::copy(WriteGreyExr("a.exr"), folder.filePath(name)));
    for (Source const& source : {Source::Open(WriteGreyExr("a.exr")), Source::Open(folder.filePath("take.#.exr"))}) {
        auto const pictures = source.OpenPictures();
        PictureStream::Picture picture;
        while (pictures->Read(picture) == ReadResult::Got)
            EXPECT_TRUE(picture->isLinear);
        EXPECT_TRUE(picture);
    }
}

TEST(SourceTest, TellsTheKindRateAndLengthOfASequence)
{
    QTemporaryDir const folder;
    for (char const* name : {"take.01.dpx", "take.02.dpx", "take.04.dpx"})
        ASSERT_TRUE(QFile::copy(Still("a.dpx"), folder.filePath(name)));
    SourceOptions options;
    options.sequenceRate = 10.0;
    for (QString const& path : {folder.path(), folder.filePath("take.##.dpx")}) {
        Source const source = Source::Open(path, options);
        EXPECT_EQ(source.GetKind(), SourceKind::Sequence);
        EXPECT_EQ(source.GetFrameRate(), 10.0);
        EXPECT_EQ(source.GetFrameStep(), 100000);
        EXPECT_EQ(source.GetDuration(), 400000);
        EXPECT_TRUE(source.OpenPictures());
        EXPECT_FALSE(source.OpenSound());
    }
    options.sequenceHoles = SequenceHoles::Refuse;
    Source const refused = Source::Open(folder.path(), options);
    EXPECT_EQ(refused.GetKind(), SourceKind::None);
    EXPECT_TRUE(refused.GetError().startsWith("Picture 3 of the sequence "));
    EXPECT_FALSE(refused.OpenPictures());
}

TEST(SourceTest, GivesTheCoverOfSoundAsItsPicture)
{
    Source const source = Source::OpenFile(SoundWithCover());
    EXPECT_EQ(source.GetKind(), SourceKind::SoundWithCover);
    auto const pictures = source.OpenPictures();
    PictureStream::Picture picture;
    ASSERT_EQ(pictures->ReadAt(1000000, picture), ReadResult::Got);
    EXPECT_EQ(picture->width, 32);
    EXPECT_EQ(pictures->Read(picture), ReadResult::End);
}

TEST(SourceTest, SaysWhyAFileCannotBeUsed)
{
    QTemporaryDir const folder;
    QFile empty(folder.filePath("empty.mp4"));
    ASSERT_TRUE(empty.open(QIODevice::WriteOnly));
    QString const text = WriteMedia("text.mp4", "no media at all");
    for (auto const& [path, error] : {std::pair(QString("/nowhere/a.mp4"), QString("There is no file \"%1\".")),
                                      {QString("/dev/null"), QString("\"%1\" cannot be read.")},
                                      {empty.fileName(), QString("\"%1\" is empty.")},
                                      {text, QString("\"%1\" is not a media file that can be read.")}}) {
        Opened const opened(path);
        EXPECT_FALSE(opened.isOpen);
        EXPECT_EQ(opened.source.GetKind(), SourceKind::None);
        EXPECT_EQ(opened.source.GetError(), error.arg(path));
        EXPECT_EQ(opened.log.Lines().size(), 1U);
        EXPECT_FALSE(opened.source.OpenPictures());
        EXPECT_FALSE(opened.source.OpenSound());
    }
}

TEST(SourceTest, TakesOpenExrForLinearLight)
{
    EXPECT_TRUE(Opened(WriteGreyExr("a.exr")).source.GetInfo()->IsLinearColorSpace());
    EXPECT_FALSE(Opened(Still("a.dpx")).source.GetInfo()->IsLinearColorSpace());
}

TEST(SourceTest, TellsCoverArtFromMovingPictures)
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

TEST(SourceTest, KnowsTheStreamsOfContainersThatAnnounceNone)
{
    Opened const opened(Movie("movie.mpg", {"-c:v", "mpeg2video", "-c:a", "mp2"}));
    ASSERT_TRUE(opened.isOpen);
    EXPECT_EQ(opened.source.GetStreams().size(), 2);
    EXPECT_EQ(opened.source.GetStream(Source::StreamType::Video, 0).codec, "mpeg2video");
    EXPECT_EQ(opened.source.GetStream(Source::StreamType::Audio, 0).codec, "mp2");
    EXPECT_EQ(opened.source.GetStream(Source::StreamType::Audio, 1).index, -1);
}

TEST(SourceTest, DistrustsALengthWithoutDurationOrTimes)
{
    EXPECT_FALSE(Opened(MovingPicture("a.h264", {"-c:v", "libx264"})).source.IsDurationTrusted());
    EXPECT_TRUE(Opened(MovingPicture("a.mp4", {"-c:v", "libx264"})).source.IsDurationTrusted());
}

TEST(SourceTest, LeavesItToTheLibraryToSayWhyAFileDoesNotOpen)
{
    Opened const absent("/nowhere/a.mp4");
    EXPECT_FALSE(absent.isOpen);
    EXPECT_EQ(absent.log.Lines(), (std::vector<LogLine>{ErrorLine("File not found: /nowhere/a.mp4")}));
}

// The sound of a broadcast can begin later than FFmpeg looks.
TEST(SourceTest, ShowsAMovieWhoseAnnouncedSoundDoesNotCome)
{
    Opened const opened(WithoutPacketsOf("sound-announced.ts", 0x101));
    ASSERT_TRUE(opened.isOpen);
    EXPECT_EQ(opened.source.GetKind(), SourceKind::Movie);
    EXPECT_FALSE(opened.source.HasSound());
    EXPECT_FALSE(opened.source.GetSoundStreams().value(0).isDecodable);
    EXPECT_EQ(opened.source.GetError(), "The sound of \"sound-announced.ts\" cannot be decoded: its start holds none.");
    auto const pictures = opened.source.OpenPictures();
    ASSERT_TRUE(pictures);
    PictureStream::Picture picture;
    ASSERT_EQ(pictures->ReadAt(3960000, picture), ReadResult::Got);
    EXPECT_EQ(picture->startTime, 3960000);
}

TEST(SourceTest, PlaysTheSoundWherePicturesAreAnnouncedAndDoNotCome)
{
    Opened const opened(WithoutPacketsOf("pictures-announced.ts", 0x100));
    ASSERT_TRUE(opened.isOpen);
    EXPECT_EQ(opened.source.GetKind(), SourceKind::Sound);
    EXPECT_FALSE(opened.source.HasPictures());
    EXPECT_TRUE(opened.source.HasSound());
}
