#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tools/output/ContactSheet.h"
#include "tools/output/RgbPicture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

// A PPM file of 16x8 pixels, all with this grey.
QByteArray Grey(int value)
{
    return "P6\n16 8\n255\n" + QByteArray(16 * 8 * 3, static_cast<char>(value));
}

void Put(QString const& path, QByteArray const& bytes)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(bytes);
}

// In "shots": the pictures 8 to 16 in files shot.0008.ppm and so on, each with the grey of eight times its number. 11
// and 13 and 14 have no file, 16 is broken.
class SequenceCommandsTest : public FolderTest
{
protected:
    SequenceCommandsTest()
    {
        QDir(folder.path()).mkdir("shots");
        Clips::WriteNumberedPictures(PathOf("shots"), "shot.%04d.ppm", {8, 9, 10, 12, 15});
        Put(PathOf("shots/shot.0016.ppm"), "P6\n16 8\n255\n");
    }

    QString Pattern() const { return PathOf("shots/shot.%04d.ppm"); }
    QString Shot(int number) const { return PathOf(QString::asprintf("shots/shot.%04d.ppm", number)); }

    // What `frame` writes; without it, its messages.
    QByteArray Frame(QStringList const& arguments, int exitCode = 0) const
    {
        QFile::remove(PathOf("a.ppm"));
        ToolRun const run = Write("frame", arguments, "a.ppm");
        EXPECT_EQ(run.exitCode, exitCode) << run.errors.toStdString();
        return QFile::exists(PathOf("a.ppm")) ? ReadMedia(PathOf("a.ppm")) : run.errors;
    }

    // The names of what `frame` writes, and then its messages.
    QStringList Series(QStringList const& arguments, int exitCode) const
    {
        QDir(PathOf("out")).removeRecursively();
        QDir(folder.path()).mkdir("out");
        ToolRun const run = Write("frame", arguments, "out/%d.ppm");
        EXPECT_EQ(run.exitCode, exitCode) << run.errors.toStdString();
        QStringList names = QDir(PathOf("out")).entryList(QDir::Files, QDir::Name);
        for (QString const& line : run.Errors().split('\n', Qt::SkipEmptyParts))
            names << line.section(": ", 2);
        return names;
    }

    // Messages without what every one of them begins with.
    QStringList MessagesOf(ToolRun const& run, QString const& name) const
    {
        QStringList messages;
        for (QString const& line : run.Errors().split('\n', Qt::SkipEmptyParts)) {
            EXPECT_TRUE(line.startsWith("tavolin: " + name + ": ")) << line.toStdString();
            messages << line.section(name + ": ", 1);
        }
        return messages;
    }
};

QJsonObject ObjectOf(ToolRun const& run)
{
    return QJsonDocument::fromJson(run.output).object();
}

} // namespace

TEST_F(SequenceCommandsTest, FrameGivesThePictureOfTheFileNamed)
{
    EXPECT_EQ(Frame({Shot(9)}), Grey(72));
    EXPECT_EQ(Frame({Shot(15)}), Grey(120));
}

// Four pictures a second: 10 shows from 0.5 s, and stays where 11 is missing.
TEST_F(SequenceCommandsTest, FrameFindsATimeWhicheverWayTheSequenceIsNamed)
{
    for (QString const& path : {Pattern(), PathOf("shots/shot.####.ppm"), PathOf("shots"), Shot(12)}) {
        EXPECT_EQ(Frame({path, "--fps", "4", "--at", "0.499"}), Grey(72)) << path.toStdString();
        EXPECT_EQ(Frame({path, "--fps", "4", "--at", "0.5"}), Grey(80)) << path.toStdString();
    }
    EXPECT_EQ(Frame({Pattern(), "--at", "0.05"}), Grey(72)); // 24 a second
    ToolRun const run = Write("frame", {Pattern(), "--fps", "4", "--at", "0.8"}, "a.ppm");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(ReadMedia(PathOf("a.ppm")), Grey(80));
    EXPECT_EQ(MessagesOf(run, Pattern()), QStringList("the file of picture 11 is missing; picture 10 shows"));
}

TEST_F(SequenceCommandsTest, FrameTakesNumbersAsTheyStandInTheNamesOfFiles)
{
    EXPECT_EQ(Frame({Pattern(), "--number", "12"}), Grey(96));
    QByteArray const name = Pattern().toUtf8();
    EXPECT_EQ(Frame({Pattern(), "--number", "13"}, 4), "tavolin: " + name + ": the file of picture 13 is missing\n");
    EXPECT_EQ(Frame({Pattern(), "--number", "7"}, 4),
              "tavolin: " + name + ": there is no picture 7; the numbers are 8 to 16\n");
    EXPECT_EQ(Frame({Pattern(), "--number", "17"}, 4),
              "tavolin: " + name + ": there is no picture 17; the numbers are 8 to 16\n");
    EXPECT_EQ(Frame({Pattern(), "--number", "16"}, 4),
              "tavolin: " + name + ": picture 16 (shot.0016.ppm) cannot be decoded\n");
    EXPECT_EQ(Frame({Pattern(), "--at", "9"}, 4),
              "tavolin: " + name + ": 00:00:09.000 is past the end; the last one is picture 16 (shot.0016.ppm)\n");
}

TEST_F(SequenceCommandsTest, FrameTakesANumberedPictureAloneWhenAsked)
{
    EXPECT_EQ(Frame({Shot(12), "--stills", "--at", "0"}), Grey(96));
    ToolRun const run = Write("frame", {Shot(12), "--at", "0"}, "a.ppm");
    EXPECT_EQ(ReadMedia(PathOf("a.ppm")), Grey(64));
    EXPECT_TRUE(run.errors.contains("shot.0012.ppm is one picture of this image sequence")) << run.errors.toStdString();
}

TEST_F(SequenceCommandsTest, FrameNeedsNoTimeForOnePictureAndOneForAllElse)
{
    Put(PathOf("only7.ppm"), Grey(7));
    EXPECT_EQ(Frame({PathOf("only7.ppm")}), Grey(7));
    EXPECT_EQ(Frame({PathOf("only7.ppm"), "--at", "3"}), Grey(7));
    EXPECT_EQ(Write("frame", {Pattern()}).exitCode, 2);
    EXPECT_EQ(Write("frame", {PathOf("shots")}).exitCode, 2);
    EXPECT_EQ(Write("frame", {MovingPicture("plain.mp4", {"-c:v", "libx264"})}).exitCode, 2);
    Put(PathOf("empty.png"), "");
    EXPECT_EQ(Write("frame", {PathOf("empty.png")}).exitCode, 3);
}

// A JPEG file without its end is decoded as far as it goes. Those beside it are whole.
TEST_F(SequenceCommandsTest, NamesADamagedFileAndNoOther)
{
    QString const made = MakeMediaRow("jpegs", "j%d.jpg", Picture("64x64", 4, 1.0));
    for (int i = 1; i <= 4; ++i)
        ASSERT_TRUE(QFile::copy(QString::asprintf(made.toUtf8().constData(), i), PathOf(QString("j%1.jpg").arg(i))));
    QByteArray const whole = ReadMedia(PathOf("j3.jpg"));
    QFile::remove(PathOf("j3.jpg"));
    Put(PathOf("j3.jpg"), whole.left(whole.size() / 2));
    QString const pattern = PathOf("j%d.jpg");
    for (char const* number : {"2", "4"}) {
        ToolRun const run = Write("frame", {pattern, "--number", number});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.errors, "");
    }
    for (QStringList const& asked : {QStringList{"--number", "3"}, QStringList{"--from", "0"}}) {
        ToolRun const run = Write("frame", QStringList(pattern) + asked, "p%d.png");
        EXPECT_EQ(run.exitCode, 4);
        EXPECT_EQ(run.errors.count('\n'), 1) << run.errors.toStdString();
        EXPECT_TRUE(run.errors.contains(": picture 3 (j3.jpg) is damaged: ")) << run.errors.toStdString();
    }
    EXPECT_TRUE(QFile::exists(PathOf("p3.png")));
    ToolRun const check = RunTavolin({"check", pattern});
    EXPECT_EQ(check.exitCode, 4);
    EXPECT_EQ(check.output.count(" is damaged: "), 1);
    EXPECT_TRUE(check.Lines().first().startsWith(pattern + ": damaged: picture 3 (j3.jpg) is damaged: "));
    EXPECT_EQ(check.Lines().last(), pattern + ": damaged: decoded: 4 pictures");
}

TEST_F(SequenceCommandsTest, FrameWritesARangeByTheNumbersOfTheFiles)
{
    // 4 a second from 8 on: 9 shows at 0.25 s, 16 would at 2.
    EXPECT_EQ(
        Series({Pattern(), "--fps", "4", "--from", "0.25"}, 4),
        QStringList({"10.ppm", "12.ppm", "15.ppm", "9.ppm", "the file of picture 11 is missing",
                     "the files of pictures 13 to 14 are missing", "picture 16 (shot.0016.ppm) cannot be decoded"}));
    EXPECT_EQ(ReadMedia(PathOf("out/15.ppm")), Grey(120));
}

TEST_F(SequenceCommandsTest, FrameNamesNoFileOutsideOfTheRange)
{
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--from", "0", "--to", "0.75"}, 0),
              QStringList({"10.ppm", "8.ppm", "9.ppm"}));
}

// Every second number: 8, 10, 12, 14 without a file, and 16, which is broken.
TEST_F(SequenceCommandsTest, FrameCountsNumbersWithoutAFileInItsSteps)
{
    EXPECT_EQ(Series({Pattern(), "--every", "2p"}, 4),
              QStringList({"10.ppm", "12.ppm", "8.ppm", "the file of picture 14 is missing",
                           "picture 16 (shot.0016.ppm) cannot be decoded"}));
}

// At 4 a second these steps are those of every second number. Where 14 is missing, 12 shows again.
TEST_F(SequenceCommandsTest, FrameTakesWhatShowsAtStepsOfTime)
{
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--every", "0.5", "--to", "2"}, 0),
              QStringList({"10.ppm", "12.ppm", "8.ppm"}));
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--every", "0.5"}, 4).last(),
              "picture 16 (shot.0016.ppm) cannot be decoded");
}

// 15 shows from 1.75 s on. What is broken behind it is read, and yet nobody asked for it.
TEST_F(SequenceCommandsTest, FrameNamesNoFileBetweenItsSteps)
{
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--every", "1.75"}, 0), QStringList({"15.ppm", "8.ppm"}));
}

// The next ones would be 16, which is broken, and 14, which has no file.
TEST_F(SequenceCommandsTest, FrameNamesNoFileBehindTheRangeOfItsSteps)
{
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--every", "4p", "--to", "2"}, 0), QStringList({"12.ppm", "8.ppm"}));
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--every", "6p", "--to", "1.5"}, 0), QStringList("8.ppm"));
    EXPECT_EQ(Series({Pattern(), "--fps", "4", "--every", "0.25", "--to", "2"}, 0),
              QStringList({"10.ppm", "12.ppm", "15.ppm", "8.ppm", "9.ppm"}));
}

TEST_F(SequenceCommandsTest, SheetWritesTheNumbersOfFilesBelowThePictures)
{
    ToolRun const run = Write("sheet", {PathOf("shots"), "--fps", "4", "--to", "0.75", "--width", "80"}, "s.ppm");
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    ContactSheet sheet(80);
    for (int number : {8, 9, 10}) {
        RgbPicture picture;
        picture.width = 16;
        picture.height = 8;
        picture.bytes.assign(16 * 8 * 3, static_cast<uint8_t>(8 * number));
        sheet.Add(picture, QString::number(number));
    }
    RgbPicture const drawn = sheet.Draw(3);
    QByteArray const header = QString("P6\n%1 %2\n255\n").arg(drawn.width).arg(drawn.height).toUtf8();
    EXPECT_TRUE(ReadMedia(PathOf("s.ppm")) == header + QByteArray(reinterpret_cast<char const*>(drawn.bytes.data()),
                                                                  static_cast<int>(drawn.bytes.size())));
}

TEST_F(SequenceCommandsTest, SheetNamesBrokenFilesOnceAndDrawsTheOthers)
{
    ToolRun const run = Write("sheet", {Pattern(), "--count", "40"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(MessagesOf(run, Pattern()), QStringList("picture 16 (shot.0016.ppm) cannot be decoded"));
    EXPECT_TRUE(run.output.contains(": 5 pictures in 4 columns")) << run.output.toStdString();
}

TEST_F(SequenceCommandsTest, SaysThatASequenceHasNoSound)
{
    for (QString const& path : {Pattern(), PathOf("shots"), Shot(9)}) {
        for (char const* command : {"wave", "audio"}) {
            ToolRun const run = Write(command, {path}, QString("a.") + (command[0] == 'w' ? "png" : "wav"));
            EXPECT_EQ(run.exitCode, 3);
            EXPECT_EQ(MessagesOf(run, Pattern()), QStringList("there is no sound in it"));
        }
    }
}

TEST_F(SequenceCommandsTest, DecodeWalksASequenceAsOneStream)
{
    for (QString const& path : {Pattern(), PathOf("shots"), Shot(9)}) {
        ToolRun const run = RunTavolin({"decode", path, "--fps", "4"});
        EXPECT_EQ(run.exitCode, 4);
        EXPECT_EQ(run.Lines().mid(0, 3),
                  QStringList({Pattern(), "  kind      image sequence",
                               "  pictures  5 (#8 to #15), 16x8, 00:00:00.000 to 00:00:02.000"}));
        EXPECT_EQ(MessagesOf(run, Pattern()),
                  QStringList({"the file of picture 11 is missing", "the files of pictures 13 to 14 are missing",
                               "picture 16 (shot.0016.ppm) cannot be decoded"}));
    }
}

TEST_F(SequenceCommandsTest, DecodeSumsThePicturesOfARange)
{
    ToolRun const run = RunTavolin({"decode", Pattern(), "--fps", "4", "--md5", "--from", "0.3", "--to", "0.75"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    auto const sum = [](int grey) {
        QByteArray const bytes(16 * 8 * 3, static_cast<char>(grey));
        return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
    };
    EXPECT_EQ(run.Lines(),
              QStringList({"# " + Pattern(), "video 250000 16x8 " + sum(72), "video 500000 16x8 " + sum(80)}));
}

TEST_F(SequenceCommandsTest, CheckNamesMissingAndBrokenFiles)
{
    for (QString const& path : {Pattern(), PathOf("shots"), Shot(9)}) {
        ToolRun const run = RunTavolin({"check", path});
        EXPECT_EQ(run.exitCode, 4);
        EXPECT_EQ(run.errors, "");
        QStringList const faults = {"the file of picture 11 is missing", "the files of pictures 13 to 14 are missing",
                                    "picture 16 (shot.0016.ppm) cannot be decoded", "decoded: 5 pictures"};
        ASSERT_EQ(run.Lines().size(), faults.size());
        for (int i = 0; i < faults.size(); ++i)
            EXPECT_EQ(run.Lines()[i], Pattern() + ": damaged: " + faults[i]);
    }
}

TEST_F(SequenceCommandsTest, CheckTellsTheFilesInJson)
{
    ToolRun const run = RunTavolin({"check", "--json", "--fps", "4", Pattern()});
    EXPECT_EQ(run.exitCode, 4);
    QJsonObject const own = ObjectOf(run)["tavolin"].toObject();
    EXPECT_EQ(ObjectOf(run)["format"].toObject()["filename"], Pattern());
    EXPECT_EQ(own["verdict"], "damaged");
    EXPECT_EQ(own["picture_count"], 5);
    EXPECT_EQ(own["left_out"], QJsonArray());
    QJsonArray const faults = own["faults"].toArray();
    ASSERT_EQ(faults.size(), 3);
    EXPECT_EQ(faults[1].toObject(),
              (QJsonObject{{"text", "the files of pictures 13 to 14 are missing"}, {"time_us", 1250000}}));
    EXPECT_EQ(faults[2].toObject(),
              (QJsonObject{
                  {"text", "picture 16 (shot.0016.ppm) cannot be decoded"}, {"time_us", 2000000}, {"file", Shot(16)}}));
}

TEST_F(SequenceCommandsTest, CheckPassesAWholeSequenceOfDifferentSizes)
{
    Clips::WriteNumberedPictures(folder.path(), "w%d.ppm", {1, 2, 3});
    Put(PathOf("w2.ppm"), "P6\n2 4\n255\n" + QByteArray(24, 'x'));
    ToolRun const run = RunTavolin({"check", PathOf("w%d.ppm")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Output(), PathOf("w%d.ppm") + ": ok: 3 pictures\n");
    ToolRun const decode = RunTavolin({"decode", PathOf("w1.ppm")});
    EXPECT_EQ(decode.exitCode, 0);
    EXPECT_TRUE(decode.output.contains("3 (#1 to #3), 16x8 and 2x4, ")) << decode.output.toStdString();
}

TEST_F(SequenceCommandsTest, TakesEachPictureByItselfWhenAsked)
{
    ToolRun const run = RunTavolin({"check", "--stills", Shot(12), PathOf("shots")});
    EXPECT_EQ(run.exitCode, 1); // of the broken one
    QStringList expected;
    for (int number : {12, 8, 9, 10, 12, 15})
        expected << Shot(number) + ": ok: 1 picture";
    EXPECT_EQ(run.Lines().mid(0, 6), expected);
    EXPECT_EQ(RunTavolin({"info", "--stills", Shot(9)}).Lines().value(1),
              "  kind       still image, no duration, 396 bytes");
    EXPECT_EQ(RunTavolin({"decode", "--stills", Shot(9)}).Lines().value(1), "  kind      still image, ppm_pipe");
}

TEST_F(SequenceCommandsTest, InfoDescribesASequenceAsOneSource)
{
    for (QString const& path : {Pattern(), PathOf("shots"), Shot(9)}) {
        ToolRun const run = RunTavolin({"info", path, "--fps", "4"});
        EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
        EXPECT_EQ(run.errors, "");
        EXPECT_EQ(run.Lines().mid(0, 5), // five files of 396 bytes and one of 12
                  QStringList({Pattern(), "  kind       image sequence, 00:00:02.250, 1.95 KiB",
                               "  files      shot.0008.ppm to shot.0016.ppm, missing 11, 13 to 14",
                               "  format     ppm_pipe", "  video #0   ppm, 16x8, 4 pictures a second, 6 pictures"}));
    }
}

TEST_F(SequenceCommandsTest, InfoDescribesASequenceInJson)
{
    QJsonObject const object = ObjectOf(RunTavolin({"info", "--json", "--fps", "4", PathOf("shots")}));
    EXPECT_EQ(object["format"].toObject(), (QJsonObject{{"filename", Pattern()},
                                                        {"nb_streams", 1},
                                                        {"format_name", "ppm_pipe"},
                                                        {"duration", "2.250000"},
                                                        {"size", "1992"}}));
    ASSERT_EQ(object["streams"].toArray().size(), 1);
    QJsonObject const stream = object["streams"].toArray()[0].toObject();
    EXPECT_EQ(stream["codec_name"], "ppm");
    EXPECT_EQ(stream["pix_fmt"], "rgb24");
    EXPECT_EQ(stream["width"], 16);
    EXPECT_EQ(stream["avg_frame_rate"], "4/1");
    EXPECT_EQ(stream["tavolin"].toObject()["picture_count"], 6);
    EXPECT_EQ(stream["tavolin"].toObject()["frame_step_us"], 250000);
    QJsonObject const own = object["tavolin"].toObject();
    EXPECT_EQ(own["kind"], "image sequence");
    EXPECT_EQ(own["is_image"], false);
    EXPECT_EQ(own["duration_us"], 2250000);
    EXPECT_EQ(own["frame_rate"], 4.0);
    EXPECT_EQ(own["height"], 8);
    QJsonObject const hole{{"first_number", 11}, {"last_number", 11}};
    QJsonObject const wideHole{{"first_number", 13}, {"last_number", 14}};
    EXPECT_EQ(own["sequence"].toObject(), (QJsonObject{{"first_number", 8},
                                                       {"last_number", 16},
                                                       {"first_file", Shot(8)},
                                                       {"last_file", Shot(16)},
                                                       {"missing", QJsonArray{hole, wideHole}}}));
}

TEST_F(SequenceCommandsTest, InfoPassesOverABrokenFirstFile)
{
    Put(Shot(8), "nothing of the kind");
    ToolRun const run = RunTavolin({"info", Pattern()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.output.contains("ppm, 16x8")) << run.output.toStdString();
    Clips::WriteNumberedPictures(folder.path(), "b%d.ppm", {1, 2});
    for (char const* name : {"b1.ppm", "b2.ppm"})
        Put(PathOf(name), "nothing of the kind");
    ToolRun const none = RunTavolin({"info", "--json", PathOf("b%d.ppm")});
    EXPECT_EQ(none.exitCode, 3);
    EXPECT_EQ(MessagesOf(none, PathOf("b%d.ppm")), QStringList("no picture of this sequence can be read"));
    EXPECT_EQ(ObjectOf(none)["error"].toObject()["string"], "no picture of this sequence can be read");
}

TEST_F(SequenceCommandsTest, RefusesRatesThatNoSequenceHas)
{
    for (char const* command : {"info", "decode", "check"}) {
        for (char const* rate : {"0", "1001", "-24", "fast"})
            EXPECT_EQ(RunTavolin({command, QString("--fps=%1").arg(rate), Pattern()}).exitCode, 2) << rate;
    }
    EXPECT_EQ(Write("frame", {Pattern(), "--at", "0", "--fps=nan"}).exitCode, 2);
    EXPECT_EQ(Write("sheet", {Pattern(), "--fps=inf"}).exitCode, 2);
}

TEST_F(SequenceCommandsTest, TakesTheOnlyMovieOrSequenceOfAFolder)
{
    QDir(folder.path()).mkdir("mixed");
    QString const movie = MovingPicture("plain.mp4", {"-c:v", "libx264"});
    ASSERT_TRUE(QFile::copy(movie, PathOf("mixed/plain.mp4")));
    ASSERT_TRUE(QFile::copy(MakeMedia("tone.wav", Tone(8000, 1, 1.0)), PathOf("mixed/tone.wav")));
    Put(PathOf("mixed/card.ppm"), Grey(1));
    EXPECT_EQ(Write("frame", {PathOf("mixed"), "--at", "1"}).exitCode, 0);
    EXPECT_EQ(Write("sheet", {PathOf("mixed")}).exitCode, 0);
    for (int number : {1, 2})
        ASSERT_TRUE(QFile::copy(Shot(8 + number), PathOf(QString("mixed/s%1.ppm").arg(number))));
    ToolRun const run = Write("frame", {PathOf("mixed"), "--at", "1"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(MessagesOf(run, PathOf("mixed")),
              QStringList("stands for several files, name one of them: plain.mp4, s%d.ppm"));
    for (char const* name : {"a.mov", "b.mov", "c.mov", "d.mov", "e.mov"})
        ASSERT_TRUE(QFile::copy(movie, PathOf(QString("mixed/%1").arg(name))));
    EXPECT_EQ(MessagesOf(Write("sheet", {PathOf("mixed")}), PathOf("mixed")),
              QStringList("stands for several files, name one of them: a.mov, b.mov, c.mov, d.mov, e.mov and 2 more"));
}

TEST_F(SequenceCommandsTest, TakesTheOnlySoundOfAFolder)
{
    ASSERT_TRUE(QFile::copy(MakeMedia("tone.wav", Tone(8000, 1, 1.0)), PathOf("shots/tone.wav")));
    EXPECT_EQ(Write("wave", {PathOf("shots")}).exitCode, 0);
    EXPECT_EQ(Write("audio", {PathOf("shots")}, "a.wav").exitCode, 0);
    EXPECT_EQ(Write("sheet", {PathOf("shots"), "--to", "0.1"}).exitCode, 0);
    ASSERT_TRUE(QFile::copy(PathOf("shots/tone.wav"), PathOf("shots/tone2.wav")));
    ToolRun const run = Write("wave", {PathOf("shots")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(MessagesOf(run, PathOf("shots")),
              QStringList("stands for several files, name one of them: tone.wav, tone2.wav"));
}

TEST_F(SequenceCommandsTest, SaysWhatIsWrongWithAFolderOrAPattern)
{
    QDir(folder.path()).mkdir("empty");
    Put(PathOf("empty/notes.txt"), "no media");
    for (char const* command : {"info", "check", "decode", "wave"}) {
        ToolRun const run = command == QLatin1String("wave") ? Write(command, {PathOf("empty")})
                                                             : RunTavolin({command, PathOf("empty")});
        EXPECT_EQ(run.exitCode, 3);
        EXPECT_EQ(MessagesOf(run, PathOf("empty")), QStringList("there are no media files in this folder"));
    }
    ToolRun const json = RunTavolin({"check", "--json", PathOf("empty")});
    EXPECT_EQ(ObjectOf(json)["error"].toObject()["string"], "there are no media files in this folder");
    ToolRun const none = Write("frame", {PathOf("none.%04d.png"), "--at", "0"});
    EXPECT_EQ(none.exitCode, 3);
    EXPECT_EQ(none.Errors(), "tavolin: No numbered image was found for \"" + PathOf("none.%04d.png") + "\".\n");
}

TEST_F(SequenceCommandsTest, SurvivesLinksInACircleAndOddNames)
{
    ASSERT_TRUE(QFile::link(PathOf("shots"), PathOf("shots/again")));
    ASSERT_TRUE(QFile::link(PathOf("shots/b.0001.ppm"), PathOf("shots/a.0001.ppm")));
    ASSERT_TRUE(QFile::link(PathOf("shots/a.0001.ppm"), PathOf("shots/b.0001.ppm")));
    EXPECT_EQ(RunTavolin({"check", PathOf("shots")}).Lines().last(), Pattern() + ": damaged: decoded: 5 pictures");
    EXPECT_EQ(RunTavolin({"check", PathOf("shots/a.0001.ppm")}).exitCode, 3);
    QDir(folder.path()).mkdir("odd");
    Clips::WriteNumberedPictures(PathOf("odd"), "two\nlines %d.ppm", {1, 2, 3});
    EXPECT_EQ(RunTavolin({"check", PathOf("odd")}).Output(), PathOf("odd/two\nlines %d.ppm") + ": ok: 3 pictures\n");
}

// Names made of the time of day: nobody means a sequence of millions of pictures.
TEST_F(SequenceCommandsTest, TakesPicturesWithNumbersFarApartForStills)
{
    QDir(folder.path()).mkdir("phone");
    for (char const* name : {"20240101123000", "20240305180000", "999999999999999999"})
        Put(PathOf(QString("phone/%1.ppm").arg(name)), Grey(9));
    ToolRun const run = RunTavolin({"check", PathOf("phone")});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.Lines().size(), 3);
    EXPECT_EQ(Frame({PathOf("phone/20240305180000.ppm"), "--at", "5"}), Grey(9));
    ToolRun const pattern = RunTavolin({"check", PathOf("phone/%d.ppm")});
    EXPECT_EQ(pattern.exitCode, 3);
    EXPECT_TRUE(pattern.errors.contains("lie too far apart for a sequence")) << pattern.errors.toStdString();
}

TEST_F(SequenceCommandsTest, SaysThatAFolderCannotBeRead)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root can read every folder";
    QFile::setPermissions(PathOf("shots"), QFile::WriteOwner);
    ToolRun const run = RunTavolin({"check", PathOf("shots")});
    QFile::setPermissions(PathOf("shots"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(MessagesOf(run, PathOf("shots")), QStringList("the folder cannot be read"));
}
