#include "media/FfmpegBridge.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTime>

#include <gtest/gtest.h>

namespace {

// `count` bytes of other values in the middle of the file.
QString Corrupted(QString const& name, QString const& source, int count)
{
    QByteArray bytes = ReadMedia(source);
    auto const place = bytes.size() / 2;
    for (int i = 0; i < count; ++i)
        bytes[place + i] = static_cast<char>(0x5A ^ (i * 7));
    return WriteMedia(name, bytes);
}

// Without `count` bytes in the middle.
QString WithPieceCutOut(QString const& name, QString const& source, int count)
{
    QByteArray const bytes = ReadMedia(source);
    auto const place = bytes.size() / 2;
    return WriteMedia(name, bytes.left(place) + bytes.mid(place + count));
}

QString CutInHalf(QString const& name, QString const& source)
{
    QByteArray const bytes = ReadMedia(source);
    return WriteMedia(name, bytes.left(bytes.size() / 2));
}

QString Good()
{
    return Movie("good.mkv", {"-c:v", "libx264", "-g", "12", "-bf", "3", "-c:a", "pcm_s16le"});
}

// For clips of whose sound FFmpeg's versions decode less or more: of one 0.3 s or 15.
QString SoundLength(QString const& clip)
{
    ReferenceInput input(Clips::Real(clip), AVMEDIA_TYPE_AUDIO);
    long long samples = 0;
    input.DecodeAll([&](AVFrame& frame) { samples += frame.nb_samples; });
    auto const milliseconds = static_cast<int>(samples * 1000 / input.Codec()->sample_rate);
    return QTime::fromMSecsSinceStartOfDay(milliseconds).toString("HH:mm:ss.zzz");
}

} // namespace

TEST(CheckCommandTest, CallsWholeFilesOk)
{
    QString const movie = Good();
    ToolRun const run = RunTavolin({"check", movie});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.Output(), movie + ": ok: 100 pictures, 00:00:04.000 of sound\n");
    EXPECT_EQ(run.errors, "");
}

TEST(CheckCommandTest, CallsFilesOfAllKindsOk)
{
    QStringList const files = {
        MovingPicture("long-group.mp4", {"-c:v", "libx264", "-g", "250", "-bf", "3"}),
        MovingPicture("open-group.ts", {"-c:v", "mpeg2video", "-g", "12", "-bf", "2"}),
        MovingPicture("program.mpg", {"-c:v", "mpeg1video", "-g", "12", "-bf", "2"}),
        MovingPicture("raw.h264", {"-c:v", "libx264", "-bf", "0"}),
        MovingPicture("vfr.mp4", {"-vf", "select='lt(mod(n,40),8)+eq(mod(n,40),30)'", "-vsync", "vfr", "-c:v",
                                  "libx264", "-g", "20", "-bf", "2"}),
        Rewrapped("late.mkv", Good(), {"-output_ts_offset", "7"}),
        MakeMedia("only.wav", Tone(8000, 1, 2.0)),
        MakeMedia("only.png", Picture("40x30", 1, 1.0) + QStringList{"-frames:v", "1"}),
    };
    ToolRun const run = RunTavolin(QStringList{"check"} + files);
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    ASSERT_EQ(run.Lines().size(), files.size());
    for (int i = 0; i < files.size(); ++i)
        EXPECT_TRUE(run.Lines()[i].startsWith(files[i] + ": ok: ")) << run.Lines()[i].toStdString();
}

// Uneven rates, late starts, odd times and sound with pauses are no damage.
TEST(CheckCommandTest, CallsRealClipsOk)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips are not there";
    QList<QPair<QString, QString>> const clips = {
        {"asf-msmpeg4-avg-rate-0.wmv", "153 pictures, " + SoundLength("asf-msmpeg4-avg-rate-0.wmv") + " of sound"},
        {"camera-mjpeg-pcm16.avi", "41 pictures, 00:00:02.438 of sound"},
        {"flv-h264-avg-rate-1000.flv", "30 pictures, 00:00:01.021 of sound"},
        {"h264-1x1-pixel.mp4", "5 pictures"},
        {"h264-raw-size-change-352x288-640x480.264", "6 pictures"},
        {"mp3-cover-art-jpeg.mp3", "1 picture, 00:00:01.006 of sound"},
        {"phone-h263-amr-vfr.3gp", "222 pictures, " + SoundLength("phone-h263-amr-vfr.3gp") + " of sound"},
        {"phone-hdr-hevc10-rot90-data-streams.mov", "4 pictures, 00:00:00.114 of sound"},
        {"phone-sideways-vfr-rot90.mov", "25 pictures, 00:00:01.021 of sound"},
        {"phone-vfr10fps-rot180-h264.mp4", "25 pictures, 00:00:02.261 of sound"},
        {"still-alpha-135x135.png", "1 picture"},
        {"ts-mpeg2-1080p-start1.5s.ts", "58 pictures, 00:00:02.429 of sound"},
        {"wav-s24-mono.wav", "00:00:01.000 of sound"},
    };
    QStringList paths;
    QString expected;
    for (auto const& [name, found] : clips) {
        paths << Clips::Real(name);
        expected += QStringLiteral("%1: ok: %2\n").arg(paths.last(), found);
    }
    ToolRun const run = RunTavolin(QStringList{"check"} + paths);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Output().toStdString(), expected.toStdString());
}

TEST(CheckCommandTest, CallsRealDamagedClipsDamaged)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips are not there";
    for (QString const& name : QStringList{"corrupt-h264.mp4", "cut-in-packet.ts", "ps-mpeg1-sar64x45-cut.mpg"}) {
        ToolRun const run = RunTavolin({"check", Clips::Real(name)});
        EXPECT_EQ(run.exitCode, 4) << name.toStdString();
        EXPECT_TRUE(run.Output().contains(" of FFmpeg, the first near 00:00:0")) << run.output.toStdString();
        EXPECT_TRUE(run.Lines().last().startsWith(Clips::Real(name) + ": damaged: decoded: "));
    }
}

TEST(CheckCommandTest, FindsWhatCannotBeDecoded)
{
    QString const damaged = WithDamagedPictures(2);
    ToolRun const run = RunTavolin({"check", damaged});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.Output().contains(damaged + ": damaged: 1 error while decoding\n")) << run.output.toStdString();
    EXPECT_TRUE(run.Output().endsWith(damaged + ": damaged: decoded: 97 pictures\n")) << run.output.toStdString();
}

// The decoder mends this by guessing, so that no picture is missing.
TEST(CheckCommandTest, FindsOverwrittenBytes)
{
    QString const good = MovingPicture("good.mp4", {"-c:v", "libx264", "-g", "12"});
    ToolRun const run = RunTavolin({"check", Corrupted("overwritten.mp4", good, 3000)});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.Output().contains(" of FFmpeg, the first near 00:00:0")) << run.output.toStdString();
}

TEST(CheckCommandTest, FindsPicturesAndSoundMissingInTheMiddle)
{
    QString const whole = Movie("whole.mkv", {"-c:v", "mjpeg", "-c:a", "pcm_s16le"});
    QString const cut = WithPieceCutOut("piece.mkv", whole, static_cast<int>(ReadMedia(whole).size() / 8));
    ToolRun const run = RunTavolin({"check", cut});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.Output().contains(": damaged: pictures are missing in 1 place, 00:00:00."))
        << run.output.toStdString();
    EXPECT_TRUE(run.Output().contains(": damaged: 1 hole in the sound, the first at 00:00:0"))
        << run.output.toStdString();
}

TEST(CheckCommandTest, FindsAFileThatWasCutOff)
{
    QString const cut = CutInHalf("cut.mkv", Good());
    ToolRun const run = RunTavolin({"check", cut});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.Output().contains(" although it tells a length of 00:00:04.0")) << run.output.toStdString();
}

// The container flags every packet as a key picture. The codec knows better.
TEST(CheckCommandTest, PassesAFileWhoseKeyFlagsAreWrong)
{
    QString const flagged =
        PatchMedia("all-flagged.mp4", MovingPicture("p.mp4", {"-c:v", "mpeg4", "-g", "50"}), "stss", "free");
    ToolRun const run = RunTavolin({"check", flagged});
    EXPECT_EQ(run.exitCode, 0) << run.output.toStdString();
    EXPECT_TRUE(run.Output().contains(": ok: 100 pictures"));
}

// Here the codec calls each picture a key picture, too: going backwards begins with ones that need those before them.
TEST(CheckCommandTest, FindsWhatIsNotTheSameBackwards)
{
    QString const flagged =
        PatchMedia("all-flagged.mov", MovingPicture("r.mov", {"-c:v", "qtrle", "-g", "50"}), "stss", "free");
    bool areAllKeys = true;
    ReferenceInput(flagged, AVMEDIA_TYPE_VIDEO).DecodeAll([&areAllKeys](AVFrame& frame) {
        areAllKeys = areAllKeys && FfmpegBridge::IsKeyPicture(frame);
    });
    if (!areAllKeys)
        GTEST_SKIP() << "this FFmpeg does not call the pictures of QuickTime Animation key pictures";
    ToolRun const run = RunTavolin({"check", flagged});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.Output().contains(" pictures are not the same backwards as forwards, "))
        << run.output.toStdString();
}

TEST(CheckCommandTest, AnswersDamageAmongSeveralFilesWithOne)
{
    QString const damaged = WithDamagedPictures(1);
    ToolRun const run = RunTavolin({"check", damaged, Good(), "/nowhere/a.mp4"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.Output().contains(damaged + ": damaged: 1 error while decoding\n")) << run.output.toStdString();
    EXPECT_TRUE(run.Output().contains(Good() + ": ok: "));
    EXPECT_TRUE(run.errors.contains("File not found: /nowhere/a.mp4"));
}

TEST(CheckCommandTest, AnswersAFileThatCannotBeOpenedWithThree)
{
    ToolRun const run = RunTavolin({"check", WriteMedia("no-media.mp4", "nothing of the kind")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.output, "");
}

TEST(CheckCommandTest, ChecksTheHalfThatHasADecoder)
{
    QString const whole = Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
    QString const deaf = WithoutDecoder("deaf.mp4", whole, "mp4a");
    ToolRun const run = RunTavolin({"check", deaf});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Output(), deaf + ": ok: 100 pictures\n");
    EXPECT_TRUE(run.errors.contains("audio stream #1 cannot be decoded"));
}

TEST(CheckCommandTest, ReportsInJson)
{
    QString const damaged = WithDamagedPictures(2);
    QString const deaf = WithoutDecoder(
        "deaf.mp4", Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"}), "mp4a");
    ToolRun const run = RunTavolin({"check", "--json", Good(), damaged, deaf, "/nowhere/a.mp4"});
    EXPECT_EQ(run.exitCode, 1);
    QJsonArray const objects = QJsonDocument::fromJson(run.output).array();
    ASSERT_EQ(objects.size(), 4);
    EXPECT_EQ(objects[0]["format"]["filename"], Good());
    EXPECT_EQ(objects[0]["tavolin"]["schema"], 1);
    EXPECT_EQ(objects[0]["tavolin"]["verdict"], "ok");
    EXPECT_EQ(objects[0]["tavolin"]["picture_count"], 100);
    EXPECT_EQ(objects[0]["tavolin"]["sound_duration_us"], 4000000);
    EXPECT_EQ(objects[0]["tavolin"]["faults"], QJsonArray());
    EXPECT_EQ(objects[0]["tavolin"]["left_out"], QJsonArray());
    EXPECT_EQ(objects[1]["tavolin"]["verdict"], "damaged");
    EXPECT_EQ(objects[1]["tavolin"]["picture_count"], 97);
    EXPECT_EQ(objects[1]["tavolin"]["faults"][0]["text"], "1 error while decoding");
    EXPECT_EQ(objects[2]["tavolin"]["verdict"], "ok");
    QJsonObject const leftOut = objects[2]["tavolin"]["left_out"][0].toObject();
    EXPECT_EQ(leftOut["index"], 1);
    EXPECT_EQ(leftOut["codec_type"], "audio");
    EXPECT_EQ(leftOut["codec_name"], "unknown");
    EXPECT_EQ(leftOut["codec_tag_string"], "zzzz");
    EXPECT_EQ(objects[3]["format"]["filename"], "/nowhere/a.mp4");
    EXPECT_EQ(objects[3]["error"]["string"], "File not found: /nowhere/a.mp4");
}

TEST(CheckCommandTest, TellsInJsonWhyNothingCanBeDecoded)
{
    QString const blind =
        WithoutDecoder("blind.mp4", MovingPicture("plain.mp4", {"-c:v", "libx264", "-g", "50"}), "avc1");
    ToolRun const run = RunTavolin({"check", "--json", blind});
    EXPECT_EQ(run.exitCode, 3);
    QJsonObject const object = QJsonDocument::fromJson(run.output).object();
    EXPECT_EQ(object["format"].toObject()["filename"], blind);
    EXPECT_EQ(object["error"].toObject()["string"], "Failed to find video stream (Decoder not found)");
}

TEST(CheckCommandTest, GivesOneJsonObjectForOneFile)
{
    ToolRun const run = RunTavolin({"check", "--json", CutInHalf("cut.mkv", Good())});
    EXPECT_EQ(run.exitCode, 4);
    QJsonObject const own = QJsonDocument::fromJson(run.output).object()["tavolin"].toObject();
    EXPECT_EQ(own["verdict"], "damaged");
    bool isEndTold = false;
    for (QJsonValue const& fault : own["faults"].toArray())
        isEndTold =
            isEndTold || (fault["text"].toString().startsWith("ends at ") && fault["time_us"].toInt() > 1000000);
    EXPECT_TRUE(isEndTold) << run.output.toStdString();
}
