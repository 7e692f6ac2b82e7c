#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QFile>
#include <QSize>

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

namespace {

using SheetCommandTest = FolderTest;

QString FourSeconds()
{
    return MovingPicture("four.mp4", {"-c:v", "libx264", "-g", "30", "-bf", "2"});
}

QSize SizeOf(QString const& path)
{
    QSize size;
    ReferenceInput(path, 0).DecodeAll([&](AVFrame& frame) { size = {frame.width, frame.height}; });
    return size;
}

} // namespace

// Pictures of 96 x 64 become 320 x 213; text and its distance take 22, the rest 12.
TEST_F(SheetCommandTest, WritesFiveRowsOfFour)
{
    ToolRun const run = Write("sheet", {FourSeconds()});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.Output(), PathOf("a.png") + ": 20 pictures in 4 columns, 1340x1247\n");
    EXPECT_EQ(SizeOf(PathOf("a.png")), QSize(12 + 4 * 332, 12 + 5 * 247));
}

TEST_F(SheetCommandTest, TakesCountColumnsAndWidth)
{
    ToolRun const run = Write("sheet", {FourSeconds(), "--count", "5", "--columns", "3", "--width", "96"}, "a.ppm");
    EXPECT_EQ(run.Output(), PathOf("a.ppm") + ": 5 pictures in 3 columns, 336x186\n");
    EXPECT_EQ(Write("sheet", {FourSeconds(), "--rows", "1", "--columns", "2"}).Lines().size(), 1);
    EXPECT_EQ(SizeOf(PathOf("a.png")).width(), 12 + 2 * 332);
}

TEST_F(SheetCommandTest, TurnsPicturesUpright)
{
    QString const movie = MovingPicture("flat.mp4", {"-c:v", "libx264"});
    QString const turned = WithTrackMatrix("turned.mp4", movie, {0, 1, 0, -1, 0, 0, 64, 0, 1});
    Write("sheet", {turned, "--count", "1", "--width", "80"});
    EXPECT_EQ(SizeOf(PathOf("a.png")), QSize(12 + 92, 12 + 120 + 11 + 12));
}

TEST_F(SheetCommandTest, AppliesTheAspectRatioOfThePixels)
{
    QString const movie = MovingPicture("wide.mp4", {"-c:v", "libx264", "-vf", "setsar=2"});
    Write("sheet", {movie, "--count", "1", "--width", "96"});
    EXPECT_EQ(SizeOf(PathOf("a.png")), QSize(12 + 108, 12 + 32 + 11 + 12)); // shown as 192 x 64
}

TEST_F(SheetCommandTest, GivesAStillImageAsASheetOfOne)
{
    QString const still = MakeMedia("one.png", Picture("40x30", 1, 1.0) + QStringList{"-frames:v", "1"});
    ToolRun const run = Write("sheet", {still});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Output(), PathOf("a.png") + ": 1 picture in 1 column, 344x264\n");
}

TEST_F(SheetCommandTest, SaysThatSoundHasNoPictures)
{
    QString const sound = MakeMedia("sound.wav", Tone(8000, 1, 1.0));
    ToolRun const run = Write("sheet", {sound});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.Errors(), "tavolin: " + sound + ": there are no pictures in it, only sound\n");
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(SheetCommandTest, AnswersARangeWithoutPicturesWithFour)
{
    ToolRun const run = Write("sheet", {FourSeconds(), "--from", "10"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.Errors(), "tavolin: " + FourSeconds() + ": there is no picture in the time asked for\n");
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(SheetCommandTest, AnswersDamageWithFourAndWritesTheRest)
{
    EXPECT_EQ(Write("sheet", {WithDamagedPictures(2), "--width", "80"}).exitCode, 4);
    EXPECT_TRUE(QFile::exists(PathOf("a.png")));
}

TEST_F(SheetCommandTest, AnswersASheetThatCannotBeWrittenWithFive)
{
    ToolRun const run = Write("sheet", {FourSeconds()}, "none/a.png");
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_TRUE(run.errors.contains("none/a.png: cannot be written: No such file or directory"));
}

TEST_F(SheetCommandTest, RefusesASheetThatNobodyCouldLookAt)
{
    ToolRun const run = Write("sheet", {FourSeconds(), "--columns", "100", "--width", "4096"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.errors.contains("more than 64 million pixels"));
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(SheetCommandTest, DrawsThePicturesOfAMovieWhoseSoundHasNoDecoder)
{
    QString const whole = Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
    ToolRun const run = Write("sheet", {WithoutDecoder("deaf.mp4", whole, "mp4a")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.Output().contains("20 pictures in 4 columns")) << run.output.toStdString();
    EXPECT_TRUE(run.errors.contains("audio stream #1 cannot be decoded: FFmpeg has no usable decoder"));
}
