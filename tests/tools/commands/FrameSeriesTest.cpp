#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

QByteArray const header = "P6\n96 64\n255\n";

QByteArray Md5Of(QByteArray const& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex();
}

// Pictures for 40, 80 and 120 ms in turn.
QString Uneven()
{
    return MovingPicture("uneven.mp4", {"-vf", "select='eq(mod(n,6),0)+eq(mod(n,6),1)+eq(mod(n,6),3)'", "-vsync", "vfr",
                                        "-c:v", "libx264", "-g", "12", "-bf", "2"});
}

class FrameSeriesTest : public FolderTest
{
protected:
    // The names of the files that it writes, in order.
    QStringList Written(QString const& movie, QStringList const& arguments, QString const& pattern)
    {
        ToolRun const run =
            RunTavolin(QStringList{"frame", movie, "-o", PathOf(pattern), "--colours=plain"} + arguments);
        EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
        EXPECT_EQ(run.errors, "");
        return QDir(folder.path()).entryList(QDir::Files, QDir::Name);
    }

    // That the file holds this picture of all, of `movie`.
    void ExpectPicture(QString const& name, QString const& movie, size_t number)
    {
        QByteArray const bytes = ReadMedia(PathOf(name));
        ASSERT_TRUE(bytes.startsWith(header)) << name.toStdString();
        EXPECT_EQ(Md5Of(bytes.mid(header.size())), DecodePlainly(movie).at(number).md5) << name.toStdString();
    }
};

} // namespace

TEST_F(FrameSeriesTest, WritesEveryPictureOfARangeByItsNumber)
{
    QStringList const names = Written(Uneven(), {"--from", "0.5", "--to", "0.75"}, "a-%04d.ppm");
    // They start at 0.48, 0.52, 0.6 and 0.72.
    EXPECT_EQ(names, (QStringList{"a-0006.ppm", "a-0007.ppm", "a-0008.ppm", "a-0009.ppm"}));
    for (size_t i = 0; i < 4; ++i)
        ExpectPicture(names.value(static_cast<int>(i)), Uneven(), 6 + i);
}

TEST_F(FrameSeriesTest, WritesPicturesAtStepsOfTimeEachOnce)
{
    QStringList const names = Written(Uneven(), {"--every", "0.05", "--to", "0.25"}, "a-%t.ppm");
    // At 0, 0.05, 0.1, 0.15 and 0.2 show those that start at 0, 0.04 (twice) and 0.12 (twice).
    EXPECT_EQ(names, (QStringList{"a-00-00-00.000000.ppm", "a-00-00-00.040000.ppm", "a-00-00-00.120000.ppm"}));
    for (size_t i = 0; i < 3; ++i)
        ExpectPicture(names.value(static_cast<int>(i)), Uneven(), i);
}

TEST_F(FrameSeriesTest, WritesEverySoManyPictures)
{
    QStringList const names = Written(Uneven(), {"--every", "20p"}, "a.##.ppm");
    EXPECT_EQ(names, (QStringList{"a.00.ppm", "a.20.ppm", "a.40.ppm"}));
    ExpectPicture("a.40.ppm", Uneven(), 40);
}

// Its packets bear no times, so that 25 pictures are taken for a second.
TEST_F(FrameSeriesTest, NumbersThePicturesOfARawStream)
{
    QString const raw = MovingPicture("plain.h264", {"-c:v", "libx264", "-g", "12", "-bf", "0"});
    ToolRun const run = RunTavolin(
        {"frame", raw, "--every", "1", "--from", "1", "--to", "3", "-o", PathOf("a-%d.ppm"), "--colours=plain"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files, QDir::Name), (QStringList{"a-25.ppm", "a-50.ppm"}));
    ExpectPicture("a-25.ppm", raw, 25);
}

// The times of this one begin anew in its middle, so that no index can be made of it. 25 pictures a second.
TEST_F(FrameSeriesTest, CountsThePicturesWhereNoIndexTellsTheirNumbers)
{
    QByteArray const once = ReadMedia(Clips::Made("stream.ts"));
    QString const twice = WriteMedia("twice.ts", once + once);
    EXPECT_EQ(Written(twice, {"--from", "1", "--to", "1.1"}, "a-%d.ppm"),
              (QStringList{"a-25.ppm", "a-26.ppm", "a-27.ppm"}));
}

TEST_F(FrameSeriesTest, WritesAllTheWayToTheEnd)
{
    QStringList const names = Written(Uneven(), {"--every", "0.9"}, "a-%02d.ppm");
    // They start at 0, 0.84, 1.8, 2.68 and 3.6.
    EXPECT_EQ(names, (QStringList{"a-00.ppm", "a-11.ppm", "a-23.ppm", "a-34.ppm", "a-45.ppm"}));
}

TEST_F(FrameSeriesTest, WritesAStillImageOnce)
{
    QString const still = MakeMedia("one.png", Picture("96x64", 1, 1.0) + QStringList{"-frames:v", "1"});
    for (QStringList const& arguments : {QStringList{"--every", "1"}, QStringList{"--from", "0"}}) {
        EXPECT_EQ(RunTavolin(QStringList{"frame", still, "-o", PathOf("a-%d.ppm")} + arguments).exitCode, 0);
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{"a-0.ppm"});
    }
}

TEST_F(FrameSeriesTest, WritesOneBehindTheOtherToStandardOutput)
{
    ToolRun const run =
        RunTavolin({"frame", Uneven(), "--every", "20p", "-o", "-", "--format", "ppm", "--colours=plain"});
    EXPECT_EQ(run.exitCode, 0);
    ASSERT_EQ(run.output.size(), 3 * (header.size() + 3 * 96 * 64));
    for (int i = 0; i < 3; ++i) {
        QByteArray const one = run.output.mid(i * run.output.size() / 3, run.output.size() / 3);
        EXPECT_EQ(Md5Of(one.mid(header.size())), DecodePlainly(Uneven()).at(static_cast<size_t>(20 * i)).md5) << i;
    }
    EXPECT_EQ(run.errors.count("tavolin: the picture at "), 3);
}

TEST_F(FrameSeriesTest, NamesDamagedAndLostPicturesAndWritesTheOthers)
{
    QString const whole = MovingPicture("all-mjpeg.avi", {"-c:v", "mjpeg"});
    QString const damaged = WithZerosAt("damaged.avi", WithZerosAt("lost.avi", whole, 1200000, 0), 1320000, 50);
    ToolRun const run = RunTavolin({"frame", damaged, "--from", "1", "--to", "1.6", "-o", PathOf("a-%t.png")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.errors.count("the picture at 00:00:01.200 cannot be decoded\n"), 1) << run.errors.toStdString();
    EXPECT_EQ(run.errors.count("the picture at 00:00:01.320 is damaged: "), 1) << run.errors.toStdString();
    EXPECT_EQ(run.errors.count(" is damaged: "), 1) << run.errors.toStdString();
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 14);
}

TEST_F(FrameSeriesTest, NamesALostPictureBetweenThoseThatItWrites)
{
    QString const lost = WithZerosAt("lost.mov", MovingPicture("all-png.mov", {"-c:v", "png"}), 1200000, 0);
    ToolRun const run =
        RunTavolin({"frame", lost, "--every", "5p", "--from", "1", "--to", "1.6", "-o", PathOf("a-%d.png")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.errors.count("the picture at 00:00:01.200 cannot be decoded\n"), 1) << run.errors.toStdString();
}

TEST_F(FrameSeriesTest, AnswersARangeWithoutPicturesWithFour)
{
    ToolRun const run = RunTavolin({"frame", Uneven(), "--from", "60", "-o", PathOf("a-%d.png")});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains("there is no picture in the time asked for"));
}

TEST_F(FrameSeriesTest, EndsAtAFileThatCannotBeWritten)
{
    ToolRun const run = RunTavolin({"frame", Uneven(), "--from", "1", "-o", PathOf("none/a-%d.png")});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.errors.count("cannot be written"), 1);
}

TEST_F(FrameSeriesTest, RefusesWhatDoesNotGoTogether)
{
    QStringList const start{"frame", Uneven(), "-o", PathOf("a-%d.png")};
    auto const refused = [&](QStringList const& arguments) {
        ToolRun const run = RunTavolin(start + arguments);
        return run.exitCode == 2 ? run.Errors().section('\n', 0, 0) : QString("%1").arg(run.exitCode);
    };
    EXPECT_EQ(refused({}), "tavolin: frame needs --at TIME, --number N, or --every, --from or --to");
    EXPECT_EQ(refused({"--at", "1", "--every", "2"}),
              "tavolin: --at, --number, and --every with --from and --to exclude each other");
    for (char const* step : {"0", "0p", "-1", "p", "1.5p", "often"})
        EXPECT_TRUE(refused({QString("--every=%1").arg(step)}).contains(" is ")) << step;
    EXPECT_EQ(RunTavolin({"frame", Uneven(), "--every", "1", "-o", PathOf("a.png")}).exitCode, 2);
}
