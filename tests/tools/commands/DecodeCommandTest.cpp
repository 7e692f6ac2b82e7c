#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

QStringList LinesOf(ToolRun const& run, QString const& kind)
{
    return run.Lines().filter(QRegularExpression("^" + kind + " "));
}

// What the command should print for the pictures, from a plain decode.
QStringList PlainVideoLines(QString const& path, QString const& size)
{
    QStringList lines;
    for (PlainPicture const& picture : DecodePlainly(path))
        lines << QStringLiteral("video %1 %2 %3").arg(QString::number(picture.time), size, QString(picture.md5));
    return lines;
}

// MD5 sums of the frames of sound as the ffmpeg command makes them.
QStringList SumsByFfmpeg(QString const& path)
{
    ToolRun const run = RunProgram(QStringLiteral(TAVOLIN_FFMPEG), {"-v", "error", "-i", path, "-map", "0:a:0", "-c:a",
                                                                    "pcm_s16le", "-f", "framemd5", "-"});
    QStringList sums;
    for (QString const& line : run.Lines()) {
        if (!line.startsWith('#'))
            sums << line.section(',', -1).trimmed();
    }
    return sums;
}

QStringList SumsOf(QStringList const& lines)
{
    QStringList sums;
    for (QString const& line : lines)
        sums << line.section(' ', -1);
    return sums;
}

QString MovieWithReordering()
{
    return Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
}

} // namespace

TEST(DecodeCommandTest, SumsPicturesAsAPlainDecodeGivesThem)
{
    for (QString const& path :
         {MovieWithReordering(), MovingPicture("vp9.webm", {"-c:v", "libvpx-vp9", "-cpu-used", "8"}),
          MovingPicture("open.ts", {"-c:v", "mpeg2video", "-bf", "2", "-g", "25"})}) {
        ToolRun const run = RunTavolin({"decode", "--md5", path});
        EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
        EXPECT_EQ(run.Lines().first(), "# " + path);
        QStringList const lines = LinesOf(run, "video");
        EXPECT_EQ(lines.size(), 100);
        EXPECT_EQ(lines, PlainVideoLines(path, "96x64"));
    }
}

TEST(DecodeCommandTest, LeavesThePaddingOfRowsOut)
{
    QString const path =
        MakeMedia("odd.mp4", Picture("33x16", 5, 1.0) + QStringList{"-c:v", "libx264", "-pix_fmt", "yuv444p"});
    QStringList const lines = LinesOf(RunTavolin({"decode", "--md5", path}), "video");
    EXPECT_EQ(lines.size(), 5);
    EXPECT_EQ(lines, PlainVideoLines(path, "33x16"));
}

TEST(DecodeCommandTest, SumsSoundAsFfmpegDoes)
{
    QString const path = MakeMedia("sound.flac", Tone(44100, 2, 3.0) + QStringList{"-sample_fmt", "s16"});
    ToolRun const run = RunTavolin({"decode", "--md5", path});
    QStringList const lines = LinesOf(run, "audio");
    EXPECT_EQ(SumsOf(lines), SumsByFfmpeg(path));
    EXPECT_TRUE(lines.first().startsWith("audio 0 4608x2 ")) << lines.first().toStdString();
    EXPECT_TRUE(lines.at(1).startsWith("audio 104489 4608x2 ")) << lines.at(1).toStdString();
}

TEST(DecodeCommandTest, KeepsItsReportOutOfTheSums)
{
    ToolRun const run = RunTavolin({"decode", "--md5", MovieWithReordering()});
    for (QString const& line : run.Lines())
        EXPECT_TRUE(line.startsWith("# ") || line.startsWith("video ") || line.startsWith("audio "));
    EXPECT_TRUE(run.errors.contains("pictures  100, 96x64, 00:00:00.000 to 00:00:04.000"));
}

TEST(DecodeCommandTest, ReportsCountsTimesAndMarks)
{
    ToolRun const run = RunTavolin({"decode", MovieWithReordering()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.output.contains("  kind      movie, mov,mp4,m4a,3gp,3g2,mj2\n"));
    EXPECT_TRUE(run.output.contains("  pictures  100, 96x64, 00:00:00.000 to 00:00:04.000\n"));
    EXPECT_TRUE(run.output.contains(" Hz, 2 channels, ")) << run.output.toStdString();
    EXPECT_TRUE(run.output.contains("  marks     1 of the end, 0 of a changed size\n"));
    EXPECT_TRUE(run.output.contains(" pictures a second, "));
}

TEST(DecodeCommandTest, CountsWhatShowsWithinARange)
{
    for (QString const& path : {MovieWithReordering(), Rewrapped("movie.ts", MovieWithReordering())}) {
        QStringList const all = LinesOf(RunTavolin({"decode", "--md5", path}), "video");
        ASSERT_EQ(all.size(), 100);
        // 2.05 lies in the picture of 2.04; the one of 2.20 begins when the range is over.
        ToolRun const run = RunTavolin({"decode", "--md5", path, "--from", "2.05", "--to", "00:00:02.200"});
        EXPECT_EQ(LinesOf(run, "video"), all.mid(51, 4));
        EXPECT_EQ(LinesOf(RunTavolin({"decode", "--md5", path, "--to", "80000us"}), "video"), all.mid(0, 2));
        EXPECT_EQ(LinesOf(RunTavolin({"decode", "--md5", path, "--from", "3.97"}), "video"), all.mid(99, 1));
    }
}

TEST(DecodeCommandTest, CountsTheSoundWithinARange)
{
    QString const path = MakeMedia("tone.mka", Tone(48000, 1, 3.0) + QStringList{"-c:a", "flac"});
    QStringList const all = LinesOf(RunTavolin({"decode", "--md5", path}), "audio");
    QStringList expected;
    for (QString const& line : all) {
        long long const start = line.section(' ', 1, 1).toLongLong();
        long long const end = start + line.section(' ', 2, 2).section('x', 0, 0).toLongLong() * 1000000 / 48000 - 1;
        // Records end where the next one starts, to a millisecond: that is what the container's times are rounded to.
        if (end >= 1500000 && start < 2000000)
            expected << line;
    }
    EXPECT_GE(expected.size(), 24000 / 4608); // half a second; FLAC has so many samples a packet
    EXPECT_EQ(LinesOf(RunTavolin({"decode", "--md5", path, "--from", "1.5", "--to", "2"}), "audio"), expected);
}

TEST(DecodeCommandTest, PutsSoundOnTheClockOfThePictures)
{
    QString const path = Rewrapped("late.mkv", MovieWithReordering(), {"-output_ts_offset", "7"});
    QStringList const lines = LinesOf(RunTavolin({"decode", "--md5", path}), "audio");
    ASSERT_FALSE(lines.isEmpty());
    // AAC begins with a packet of silence before them; Matroska rounds to milliseconds.
    EXPECT_NEAR(lines.first().section(' ', 1, 1).toDouble(), 0.0, 1024 * 1e6 / 44100 + 1000.0);
}

TEST(DecodeCommandTest, AnswersAnEmptyRangeWithFour)
{
    ToolRun const run = RunTavolin({"decode", "--from", "50", MovieWithReordering()});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains("nothing was decoded in the time asked for"));
}

TEST(DecodeCommandTest, AnswersDamageWithFourAndDecodesTheRest)
{
    ToolRun const run = RunTavolin({"decode", WithDamagedPictures(1)});
    EXPECT_EQ(run.exitCode, 4);
    // Behind a decoder that runs ahead, an error also takes the packet that meets it.
    QRegularExpression const count("  pictures  9[789], 96x64, 00:00:00.000 to 00:00:04.000\n");
    EXPECT_TRUE(run.Output().contains(count)) << run.output.toStdString();
    EXPECT_TRUE(run.errors.contains("1 error while decoding")) << run.errors.toStdString();
}

TEST(DecodeCommandTest, SaysWhatOddSourcesAre)
{
    QString const still = MakeMedia("one.png", Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"});
    EXPECT_TRUE(RunTavolin({"decode", still}).output.contains("kind      still image"));
    QString const sound = MakeMedia("sound.wav", Tone(8000, 1, 1.0));
    ToolRun const run = RunTavolin({"decode", sound});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.output.contains("kind      sound, wav"));
    EXPECT_TRUE(run.output.contains("8000 samples a channel"));
    EXPECT_FALSE(run.output.contains("pictures"));
}

TEST(DecodeCommandTest, MixesNoChannelsDown)
{
    QString const path = MakeMedia("ten.wav", Tone(8000, 10, 0.2));
    EXPECT_TRUE(RunTavolin({"decode", path}).output.contains("8000 Hz, 10 channels"));
}

TEST(DecodeCommandTest, SaysWhichDecoderIsMissingAndDecodesTheOtherHalf)
{
    QString const whole = MovieWithReordering();
    ToolRun const deaf = RunTavolin({"decode", WithoutDecoder("deaf.mp4", whole, "mp4a"), "--md5"});
    EXPECT_EQ(deaf.exitCode, 4);
    EXPECT_TRUE(deaf.errors.contains("audio stream #1 cannot be decoded: FFmpeg has no usable decoder"));
    EXPECT_EQ(LinesOf(deaf, "video"), PlainVideoLines(whole, "96x64"));
    EXPECT_EQ(LinesOf(deaf, "audio"), QStringList());
    ToolRun const blind = RunTavolin({"decode", WithoutDecoder("blind.mp4", whole, "avc1"), "--md5"});
    EXPECT_EQ(blind.exitCode, 4);
    EXPECT_TRUE(blind.errors.contains("video stream #0 cannot be decoded: FFmpeg has no usable decoder"));
    EXPECT_EQ(LinesOf(blind, "video"), QStringList());
    EXPECT_EQ(SumsOf(LinesOf(blind, "audio")), SumsByFfmpeg(whole));
}

TEST(DecodeCommandTest, RefusesAMovieOfWhichNothingCanBeDecoded)
{
    QString const deaf = WithoutDecoder("deaf.mp4", MovieWithReordering(), "mp4a");
    ToolRun const run = RunTavolin({"decode", WithoutDecoder("dead.mp4", deaf, "avc1")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_TRUE(run.errors.contains("audio stream #1 cannot be decoded"));
    EXPECT_TRUE(run.errors.contains("video stream #0 cannot be decoded"));
    EXPECT_TRUE(run.errors.contains("cannot be opened for decoding"));
}

TEST(DecodeCommandTest, DecodesThePicturesOfAClipWhoseSoundIsUnknown)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    QString const path = Clips::Real("mp4-good-video-unknown-audio.mp4");
    ToolRun const run = RunTavolin({"decode", path, "--md5"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(LinesOf(run, "video"), PlainVideoLines(path, "1080x720"));
}

TEST(DecodeCommandTest, DecodesEachClipAsTheFactsSay)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    for (char const* name : {"h264-bpyramid-sar64x45.mp4", "phone-sideways-vfr-rot90.mov", "ps-mpeg1-sar64x45-cut.mpg",
                             "h264-raw-size-change-352x288-640x480.264", "still-10bit.dpx"}) {
        int expected = 0;
        for (QJsonValue const& stream : Clips::RealFacts()[name].toObject()["streams"].toArray()) {
            if (stream.toObject()["codec_type"] == "video")
                expected = stream.toObject()["decoded"].toObject()["frames"].toInt();
        }
        ASSERT_GT(expected, 0) << name << " is not among the facts";
        EXPECT_EQ(LinesOf(RunTavolin({"decode", "--md5", Clips::Real(name)}), "video").size(), expected) << name;
    }
}

TEST(DecodeCommandTest, TellsTheNumbersOfTheRange)
{
    // 0, 7, 11, 14, 21, 22, 28, 33, 35... of 25 a second
    QString const output = RunTavolin({"decode", Clips::Made("vfr.mp4"), "--from", "0.9", "--to", "1.33"}).Output();
    EXPECT_TRUE(output.contains(" 3 (#5 to #7 of 76), 192x108, 00:00:00.880 to ")) << output.toStdString();
}
