#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QFile>

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

namespace {

using WaveCommandTest = FolderTest;

// Sine waves of a quarter of full scale, which is -12.0 dB.
QString TwoSeconds()
{
    return MakeMedia("two-seconds.wav", Tone(8000, 2, 2.0));
}

} // namespace

TEST_F(WaveCommandTest, DrawsTheWholeSound)
{
    ToolRun const run = Write("wave", {TwoSeconds()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.Output(), PathOf("a.png") + ": 00:00:00.000 to 00:00:02.000, 2 channels, peak -12.0 dB, 1280x294\n");
    ReferenceInput(PathOf("a.png"), 0).DecodeAll([](AVFrame& frame) {
        EXPECT_EQ(frame.width, 1280);
        EXPECT_EQ(frame.height, 294);
    });
}

TEST_F(WaveCommandTest, TakesSizeAndRange)
{
    ToolRun const run =
        Write("wave", {TwoSeconds(), "--width", "400", "--height", "200", "--from", "0.5", "--to", "1.5"}, "a.jpg");
    EXPECT_EQ(run.Output(), PathOf("a.jpg") + ": 00:00:00.500 to 00:00:01.500, 2 channels, peak -12.0 dB, 400x200\n");
}

TEST_F(WaveCommandTest, CallsSilenceSilence)
{
    QString const silence = MakeMedia("silence.wav", {"-f", "lavfi", "-i", "anullsrc=sample_rate=8000", "-t", "1"});
    EXPECT_EQ(Write("wave", {silence}).Output(),
              PathOf("a.png") + ": 00:00:00.000 to 00:00:01.000, 2 channels, silence, 1280x294\n");
}

TEST_F(WaveCommandTest, SaysThatThereIsNoSound)
{
    QString const mute = MovingPicture("mute.mp4", {"-c:v", "libx264"});
    ToolRun const run = Write("wave", {mute});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.Errors(), "tavolin: " + mute + ": there is no sound in it\n");
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(WaveCommandTest, AnswersARangeWithoutSoundWithFour)
{
    ToolRun const run = Write("wave", {TwoSeconds(), "--from", "2"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.Errors(), "tavolin: " + TwoSeconds() + ": there is no sound in the time asked for\n");
    EXPECT_FALSE(QFile::exists(PathOf("a.png")));
}

TEST_F(WaveCommandTest, AnswersAPictureThatCannotBeWrittenWithFive)
{
    ToolRun const run = Write("wave", {TwoSeconds()}, "none/a.png");
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_TRUE(run.errors.contains("none/a.png: cannot be written: No such file or directory"));
}

TEST_F(WaveCommandTest, RefusesAHeightWithoutRoomForTheChannels)
{
    ToolRun const run = Write("wave", {TwoSeconds(), "--height", "71"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.errors.contains("--height is at least 72 for 2 channels"));
    EXPECT_EQ(Write("wave", {TwoSeconds(), "--height", "72"}).exitCode, 0);
}

TEST_F(WaveCommandTest, DrawsTheSoundOfAMovieWhosePicturesHaveNoDecoder)
{
    QString const whole = Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
    ToolRun const run = Write("wave", {WithoutDecoder("blind.mp4", whole, "avc1")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.Output().contains("2 channels, peak ")) << run.output.toStdString();
    EXPECT_TRUE(run.errors.contains("video stream #0 cannot be decoded: FFmpeg has no usable decoder"));
}
