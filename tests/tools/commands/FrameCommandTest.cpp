#include "decode/DecodedVideoFrame.h"
#include "playback/PlaybackEngine.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QCryptographicHash>
#include <QFile>

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

namespace {

class FrameCommandTest : public FolderTest
{
protected:
    QByteArray Written(QString const& name) const
    {
        QFile file(PathOf(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

QString PlainMovie()
{
    return Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
}

QByteArray Md5(QByteArray const& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex();
}

// 64x32 with a red left half, to be turned a quarter clockwise.
QString TurnedMovie()
{
    QString const movie =
        MakeMedia("halves.mp4", {"-f", "lavfi", "-i", "color=red:size=32x32:rate=5:duration=1", "-f", "lavfi", "-i",
                                 "color=blue:size=32x32:rate=5:duration=1", "-filter_complex", "hstack", "-c:v",
                                 "libx264", "-pix_fmt", "yuv444p"});
    return WithTrackMatrix("turned.mp4", movie, {0, 1, 0, -1, 0, 0, 32, 0, 1});
}

bool IsRed(QByteArray const& ppm, int headerSize, int pixel)
{
    auto const byte = [&](int i) { return static_cast<unsigned char>(ppm.at(headerSize + 3 * pixel + i)); };
    return byte(0) > 200 && byte(2) < 50;
}

} // namespace

TEST_F(FrameCommandTest, WritesTheVeryPicture)
{
    ToolRun const run =
        RunTavolin({"frame", PlainMovie(), "--at", "00:00:02.050", "-o", PathOf("a.ppm"), "--colours=plain"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.Output(), PathOf("a.ppm") + ": the picture at 00:00:02.040 (2040000us), 96x64\n");
    QByteArray const header = "P6\n96 64\n255\n";
    QByteArray const written = Written("a.ppm");
    ASSERT_TRUE(written.startsWith(header));
    EXPECT_EQ(Md5(written.mid(header.size())), ShowingAt(DecodePlainly(PlainMovie()), 2050000).md5);
}

// As the engine plays them, and as `ffmpeg` reads them.
TEST_F(FrameCommandTest, GivesARawStream25PicturesASecond)
{
    QString const raw = MovingPicture("raw25.h264", {"-c:v", "libx264", "-bf", "0"});
    ToolRun const run = RunTavolin({"frame", raw, "--number", "50", "-o", PathOf("a.ppm")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Output(), PathOf("a.ppm") + ": picture 50 at 00:00:02.000 (2000000us), 96x64\n");
    PlaybackEngine engine;
    engine.Open(raw);
    engine.Seek(2000000);
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_EQ(engine.GetPicture()->startTime, 2000000);
}

// Crimson, coded by the matrix of HD and tagged so.
TEST_F(FrameCommandTest, FollowsTheStreamUnlessToldOtherwise)
{
    QString const clip =
        MakeMedia("crimson-hd.mp4", {"-f", "lavfi", "-i", "color=c=0xC81E3C:size=1280x720:rate=25:duration=0.2", "-vf",
                                     "scale=out_color_matrix=bt709:flags=accurate_rnd", "-c:v", "libx264", "-qp", "0",
                                     "-pix_fmt", "yuv420p", "-colorspace", "bt709"});
    for (char const* colours : {"", "--colours=stream", "--colours=plain"}) {
        QStringList arguments{"frame", clip, "--at", "0", "-o", PathOf("a.ppm")};
        if (*colours)
            arguments << colours;
        EXPECT_EQ(RunTavolin(arguments).exitCode, 0);
        auto const green = static_cast<uint8_t>(Written("a.ppm").at(QByteArray("P6\n1280 720\n255\n").size() + 1));
        bool const isPlain = QString(colours).endsWith("plain");
        // The stream's are rounded; libswscale's quick converter is up to 2 off.
        EXPECT_NEAR(green, Reference::FirstGreen(clip, !isPlain), isPlain ? 2.0 : 0.5) << colours;
    }
    EXPECT_EQ(RunTavolin({"frame", clip, "--at", "0", "-o", PathOf("a.ppm"), "--colours=other"}).exitCode, 2);
}

TEST_F(FrameCommandTest, WritesEachFormat)
{
    for (QString const& name : QStringList{"a.png", "a.jpg", "a.JPEG"}) {
        EXPECT_EQ(RunTavolin({"frame", PlainMovie(), "--at", "1", "--output", PathOf(name)}).exitCode, 0);
        ReferenceInput(PathOf(name), 0).DecodeAll([](AVFrame& frame) {
            EXPECT_EQ(frame.width, 96);
            EXPECT_EQ(frame.height, 64);
        });
    }
    EXPECT_TRUE(Written("a.png").startsWith("\x89PNG"));
    EXPECT_TRUE(Written("a.jpg").startsWith("\xff\xd8\xff"));
}

TEST_F(FrameCommandTest, WritesToStandardOutputWithMessagesBesideIt)
{
    ToolRun const png = RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", "-"});
    EXPECT_EQ(png.exitCode, 0);
    EXPECT_EQ(png.errors, "tavolin: the picture at 00:00:01.000 (1000000us), 96x64\n");
    RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", PathOf("a.png")});
    EXPECT_TRUE(png.output.startsWith("\x89PNG"));
    EXPECT_EQ(png.output, Written("a.png"));
    for (char const* format : {"ppm", "pnm"})
        EXPECT_TRUE(RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", "-", "--format", format})
                        .output.startsWith("P6\n96 64\n255\n"))
            << format;
    EXPECT_EQ(RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", "-", "--format", "gif"}).exitCode, 2);
    EXPECT_EQ(RunInShell("exec \"$1\" frame \"$2\" --at 1 -o - >/dev/full", {PlainMovie()}).exitCode, 5);
}

TEST_F(FrameCommandTest, TakesTheFormatInPlaceOfTheEnding)
{
    EXPECT_EQ(RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", PathOf("a.raw"), "--format=jpg"}).exitCode, 0);
    EXPECT_TRUE(Written("a.raw").startsWith("\xff\xd8\xff"));
    EXPECT_EQ(RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", PathOf("b.raw")}).exitCode, 2);
}

TEST_F(FrameCommandTest, TurnsThePictureUpright)
{
    ASSERT_EQ(RunTavolin({"frame", TurnedMovie(), "--at", "0", "-o", PathOf("up.ppm")}).exitCode, 0);
    QByteArray const upright = Written("up.ppm");
    QByteArray const header = "P6\n32 64\n255\n";
    ASSERT_TRUE(upright.startsWith(header)) << upright.left(20).toStdString();
    EXPECT_TRUE(IsRed(upright, header.size(), 0)); // the left half is the upper one now
    EXPECT_TRUE(IsRed(upright, header.size(), 31));
    EXPECT_FALSE(IsRed(upright, header.size(), 63 * 32));
}

// A segment of Exif that says: the first row is the right side, the first column the top.
TEST_F(FrameCommandTest, TurnsAStillImageAsItsExifOrientationSays)
{
    QByteArray bytes = ReadMedia(MakeMedia(
        "halves.jpg", {"-noautorotate", "-i", TurnedMovie(), "-frames:v", "1", "-q:v", "1", "-pix_fmt", "yuvj444p"}));
    int const firstSegment = 4 + 16;
    ASSERT_EQ(bytes.mid(6, 4), "JFIF");
    bytes.insert(firstSegment, QByteArray::fromHex("ffe10022457869660000"
                                                   "4d4d002a000000080001"
                                                   "0112000300000001000600000000"
                                                   "0000"));
    QString const still = WriteMedia("oriented.jpg", bytes);
    ASSERT_EQ(RunTavolin({"frame", still, "--at", "0", "-o", PathOf("up.ppm")}).exitCode, 0);
    QByteArray const upright = Written("up.ppm");
    QByteArray const header = "P6\n32 64\n255\n";
    ASSERT_TRUE(upright.startsWith(header)) << upright.left(20).toStdString();
    EXPECT_TRUE(IsRed(upright, header.size(), 0));
    EXPECT_TRUE(IsRed(upright, header.size(), 31));
    EXPECT_FALSE(IsRed(upright, header.size(), 63 * 32));
    EXPECT_TRUE(RunTavolin({"info", still}).Output().contains("64x32, to be turned 90 degrees clockwise"));
}

TEST_F(FrameCommandTest, LeavesThePictureAsStoredWhenAsked)
{
    ASSERT_EQ(RunTavolin({"frame", "--as-stored", TurnedMovie(), "--at", "0", "-o", PathOf("as.ppm")}).exitCode, 0);
    QByteArray const stored = Written("as.ppm");
    QByteArray const header = "P6\n64 32\n255\n";
    ASSERT_TRUE(stored.startsWith(header));
    EXPECT_TRUE(IsRed(stored, header.size(), 0));
    EXPECT_FALSE(IsRed(stored, header.size(), 63));
    EXPECT_TRUE(IsRed(stored, header.size(), 31 * 64));
}

TEST_F(FrameCommandTest, AnswersATimePastTheEndWithFourAndWritesNothing)
{
    ToolRun const run = RunTavolin({"frame", PlainMovie(), "--at", "60", "-o", PathOf("a.png")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains("00:01:00.000 is past the end; the last picture starts at 00:00:03.960"));
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(FrameCommandTest, AnswersAPictureThatCannotBeWrittenWithFive)
{
    ToolRun const run = RunTavolin({"frame", PlainMovie(), "--at", "1", "-o", PathOf("none/a.png")});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_TRUE(run.errors.contains("none/a.png: cannot be written: No such file or directory"));
}

TEST_F(FrameCommandTest, SaysThatSoundHasNoPictures)
{
    QString const sound = MakeMedia("sound.wav", Tone(8000, 1, 1.0));
    ToolRun const run = RunTavolin({"frame", sound, "--at", "0", "-o", PathOf("a.png")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_TRUE(run.errors.contains("there are no pictures in it, only sound"));
}

TEST_F(FrameCommandTest, GivesTheCoverOfSound)
{
    QString const cover = MakeMedia("cover.png", Picture("40x30", 1, 1.0) + QStringList{"-frames:v", "1"});
    QString const sound =
        MakeMedia("cover.mp3", Tone(44100, 2, 2.0) + QStringList{"-i", cover, "-map", "0", "-map", "1", "-c:v", "copy",
                                                                 "-disposition:v", "attached_pic"});
    ToolRun const run = RunTavolin({"frame", sound, "--at", "1.5", "-o", PathOf("a.ppm")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.errors.contains("its only picture is cover art"));
    EXPECT_EQ(Md5(Written("a.ppm").mid(13)), DecodePlainly(cover).front().md5);
}

TEST_F(FrameCommandTest, GivesAStillImageAtAnyTime)
{
    QString const still = MakeMedia("one.png", Picture("40x30", 1, 1.0) + QStringList{"-frames:v", "1"});
    ToolRun const run = RunTavolin({"frame", still, "--at", "99", "-o", PathOf("a.ppm")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.errors.contains("a still image"));
    EXPECT_EQ(Md5(Written("a.ppm").mid(13)), DecodePlainly(still).front().md5);
}

TEST_F(FrameCommandTest, WritesAPictureOfAMovieWhoseSoundHasNoDecoder)
{
    QString const deaf = WithoutDecoder("deaf.mp4", PlainMovie(), "mp4a");
    ToolRun const run = RunTavolin({"frame", deaf, "--at", "2", "-o", PathOf("deaf.ppm")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.errors.contains("audio stream #1 cannot be decoded: FFmpeg has no usable decoder"));
    RunTavolin({"frame", PlainMovie(), "--at", "2", "-o", PathOf("whole.ppm")});
    EXPECT_EQ(Written("whole.ppm").size(), QByteArray("P6\n96 64\n255\n").size() + 3 * 96 * 64);
    EXPECT_EQ(Written("deaf.ppm"), Written("whole.ppm"));
}

TEST_F(FrameCommandTest, NamesTheMissingDecoderOfThePictures)
{
    QString const blind = WithoutDecoder("blind.mp4", PlainMovie(), "avc1");
    ToolRun const run = RunTavolin({"frame", blind, "--at", "2", "-o", PathOf("blind.ppm")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_TRUE(run.errors.contains("video stream #0 cannot be decoded: FFmpeg has no usable decoder"));
}

// Pictures 0, 7, 11, 14... of 25 a second: a number that is reckoned from the time would be another one.
TEST_F(FrameCommandTest, FindsAPictureByItsNumber)
{
    QString const movie = Clips::Made("vfr.mp4");
    auto const pictures = DecodePlainly(movie);
    ASSERT_EQ(pictures.size(), 76u);
    for (size_t const number : {0U, 3U, 31U, 32U, 60U, 75U}) {
        ToolRun const run =
            RunTavolin({"frame", movie, "--number", QString::number(number), "-o", PathOf("n.ppm"), "--colours=plain"});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_TRUE(run.Output().contains(QString("picture %1 at ").arg(number))) << run.Output().toStdString();
        EXPECT_EQ(Md5(Written("n.ppm").mid(QByteArray("P6\n192 108\n255\n").size())), pictures[number].md5) << number;
    }
}

TEST_F(FrameCommandTest, FindsAPictureByItsTimecode)
{
    QString const movie =
        MakeMedia("drop-frame.mov", {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=30000/1001:duration=3", "-c:v",
                                     "libx264", "-bf", "2", "-threads", "1", "-timecode", "00:00:59;00"});
    for (auto const& [timecode, number] :
         {std::pair{"00:00:59;00", 0}, {"00:00:59;29", 29}, {"00:01:00;02", 30}, {"00:01:00:03", 31}}) {
        ASSERT_EQ(RunTavolin({"frame", movie, "--at", timecode, "-o", PathOf("t.ppm")}).exitCode, 0) << timecode;
        ASSERT_EQ(RunTavolin({"frame", movie, "--number", QString::number(number), "-o", PathOf("n.ppm")}).exitCode, 0);
        EXPECT_EQ(Written("t.ppm"), Written("n.ppm")) << timecode;
    }
    for (char const* timecode : {"00:01:00;00", "00:00:58;29", "00:01:03;00"}) {
        ToolRun const run = RunTavolin({"frame", movie, "--at", timecode, "-o", PathOf("none.ppm")});
        EXPECT_EQ(run.exitCode, 4) << timecode;
        EXPECT_TRUE(run.errors.contains("there is no ")) << run.errors.toStdString();
    }
    ToolRun const without = RunTavolin({"frame", Clips::Made("vfr.mp4"), "--at", "00:00:01:00", "-o", PathOf("t.ppm")});
    EXPECT_EQ(without.exitCode, 4);
    EXPECT_TRUE(without.errors.contains("has no timecode")) << without.errors.toStdString();
}

TEST_F(FrameCommandTest, SaysWhichNumbersThereAre)
{
    ToolRun const run = RunTavolin({"frame", Clips::Made("vfr.mp4"), "--number", "76", "-o", PathOf("n.ppm")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains("there is no picture 76; the numbers are 0 to 75")) << run.errors.toStdString();
    EXPECT_TRUE(Written("n.ppm").isEmpty());
    EXPECT_EQ(RunTavolin({"frame", Clips::Made("vfr.mp4"), "--number=-1", "-o", PathOf("n.ppm")}).exitCode, 2);
    EXPECT_EQ(
        RunTavolin({"frame", Clips::Made("vfr.mp4"), "--number", "1", "--at", "0", "-o", PathOf("n.ppm")}).exitCode, 2);
}

// Packets do not tell of the second half, whose times are those of the first, that it is never shown.
TEST_F(FrameCommandTest, CountsByDecodingWhatPacketsCannotTell)
{
    QByteArray const once = ReadMedia(Clips::Made("stream.ts"));
    QString const twice = WriteMedia("twice.ts", once + once);
    EXPECT_EQ(RunTavolin({"frame", twice, "--number", "199", "-o", PathOf("n.ppm")}).exitCode, 0);
    ToolRun const run = RunTavolin({"frame", twice, "--number", "200", "-o", PathOf("n.ppm")});
    EXPECT_TRUE(run.errors.contains("there is no picture 200; the numbers are 0 to 199")) << run.errors.toStdString();
}

// At 29.97 a second, picture 7 starts at 233566 microseconds: cut to milliseconds that would be picture 6.
TEST_F(FrameCommandTest, PrintsATimeThatFindsTheSamePicture)
{
    QString const movie =
        MakeMedia("ntsc-30.mp4", QString("-f lavfi -i testsrc2=size=96x64:rate=30000/1001:duration=1 -c:v libx264 "
                                         "-bf 2 -video_track_timescale 30000 -threads 1")
                                     .split(' '));
    for (char const* time : {"0.233566", "0.234"}) {
        ToolRun const run = RunTavolin({"frame", movie, "--at", time, "-o", PathOf("n.ppm")});
        EXPECT_TRUE(run.Output().contains("the picture at 00:00:00.234 (233566us)")) << run.Output().toStdString();
    }
}

// The decoder conceals it, and so it stays to the end of the group, which ends at 1.44 s. What is whole says nothing.
TEST_F(FrameCommandTest, AnswersADamagedPictureWithFourAndWritesWhatCouldBeDecoded)
{
    QString const whole = MovingPicture("group.mp4", {"-c:v", "libx264", "-g", "12", "-bf", "0"});
    QString const damaged = WithZerosAt("concealed.mp4", whole, 1200000, 50);
    for (char const* time : {"0", "1.16", "1.44", "3"}) {
        ToolRun const run = RunTavolin({"frame", damaged, "--at", time, "-o", PathOf("a.png")});
        EXPECT_EQ(run.exitCode, 0) << time;
        EXPECT_EQ(run.errors, "") << time;
    }
    for (char const* time : {"1.2", "1.24", "1.4"}) {
        QFile::remove(PathOf("a.png"));
        ToolRun const run = RunTavolin({"frame", damaged, "--at", time, "-o", PathOf("a.png")});
        EXPECT_EQ(run.exitCode, 4) << time;
        EXPECT_TRUE(run.errors.contains(" is damaged: ")) << run.errors.toStdString();
        EXPECT_TRUE(QFile::exists(PathOf("a.png"))) << time;
    }
}

TEST_F(FrameCommandTest, WritesNoPictureInPlaceOfOneThatCannotBeDecoded)
{
    for (QString const& kind : QStringList{"png.mov", "mjpeg.avi"}) {
        QString const whole = MovingPicture("all-" + kind, {"-c:v", kind.section('.', 0, 0)});
        QString const damaged = WithZerosAt("lost-" + kind, whole, 1200000, 0);
        ToolRun const run = RunTavolin({"frame", damaged, "--at", "1.23", "-o", PathOf("a.png")});
        EXPECT_EQ(run.exitCode, 4);
        EXPECT_TRUE(run.errors.contains("the picture at 00:00:01.200 cannot be decoded; the one before it starts at "
                                        "00:00:01.160"))
            << run.errors.toStdString();
        EXPECT_FALSE(QFile::exists(PathOf("a.png")));
        EXPECT_EQ(RunTavolin({"frame", damaged, "--at", "1.16", "-o", PathOf("b.png")}).exitCode, 0);
        EXPECT_EQ(RunTavolin({"frame", damaged, "--at", "1.24", "-o", PathOf("b.png")}).exitCode, 0);
    }
}

// The demultiplexer finds its way again behind it.
TEST_F(FrameCommandTest, WritesNoPictureInPlaceOfOneWhosePacketCannotBeRead)
{
    QString const whole = MovingPicture("group.mkv", {"-c:v", "libvpx", "-g", "12"});
    QString const damaged = WithZerosAt("unreadable.mkv", whole, 1200000, 0);
    EXPECT_EQ(RunTavolin({"frame", damaged, "--at", "1.16", "-o", PathOf("b.png")}).exitCode, 0);
    ToolRun const run = RunTavolin({"frame", damaged, "--at", "1.24", "-o", PathOf("a.png")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains("the picture at 00:00:01.200 cannot be decoded")) << run.errors.toStdString();
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(FrameCommandTest, AnswersADamagedStillImageWithFour)
{
    QString const whole = MakeMedia("large.jpg", Picture("320x240", 1, 1.0) + QStringList{"-frames:v", "1"});
    QByteArray const bytes = ReadMedia(whole);
    QString const damaged = WriteMedia("cut.jpg", bytes.left(bytes.size() / 2));
    ToolRun const run = RunTavolin({"frame", damaged, "--at", "0", "-o", PathOf("a.png")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains(" is damaged: ")) << run.errors.toStdString();
}

// In this clip only the sound is damaged, and the container calls every picture a key picture.
TEST_F(FrameCommandTest, DoesNotTakeDamagedSoundForDamagedPictures)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    QString const clip = Clips::Real("asf-two-video-streams-rate-0.asf");
    for (char const* time : {"10.1", "10.2", "10.4", "10.55", "10.85", "10.9", "14"}) {
        ToolRun const run = RunTavolin({"frame", clip, "--at", time, "-o", PathOf("a.png")});
        EXPECT_EQ(run.exitCode, 0) << time;
        EXPECT_EQ(run.errors, "") << time;
    }
}

TEST_F(FrameCommandTest, PassesRealClipsWithoutDamage)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    for (std::string const& name : Clips::RealMovieNames()) {
        if (Clips::IsDamaged(name))
            continue;
        ToolRun const run = RunTavolin({"frame", Clips::Real(name.c_str()), "--at", "0.1", "-o", PathOf("a.png")});
        EXPECT_FALSE(run.errors.contains("damaged") || run.errors.contains("cannot be decoded; the one before"))
            << run.errors.toStdString();
        EXPECT_EQ(run.exitCode, 0) << name << ": " << run.errors.toStdString();
    }
}
