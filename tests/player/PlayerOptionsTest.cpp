#include "player/PlayerOptions.h"

#include <gtest/gtest.h>

namespace {

PlayerOptions Parsed(QStringList const& arguments)
{
    return PlayerOptions::Parse(QStringList("tavolin-player") + arguments);
}

} // namespace

TEST(PlayerOptionsTest, TakesFilesAndOptionsInAnyOrder)
{
    auto const options =
        Parsed({"a.mp4", "--speed", "-2", "--start=1:30", "--loop", "--cache-mb", "64", "--fps", "30", "--fullscreen",
                "--mute", "--still-seconds", "2.5", "--sound-stream=2", "--geometry", "800x600+10+20", "b.mp4"});
    EXPECT_EQ(options.fault, "");
    EXPECT_EQ(options.files, QStringList({"a.mp4", "b.mp4"}));
    EXPECT_EQ(options.speed, -2.0);
    EXPECT_EQ(options.start, 90000000);
    EXPECT_EQ(options.loop, true);
    EXPECT_EQ(options.cacheMegabytes, 64);
    EXPECT_EQ(options.sequenceRate, 30.0);
    EXPECT_TRUE(options.fullScreen);
    EXPECT_EQ(options.mute, true);
    EXPECT_EQ(options.stillSeconds, 2.5);
    EXPECT_EQ(options.soundStream, 1);
    EXPECT_EQ(options.geometry, QRect(10, 20, 800, 600));
}

TEST(PlayerOptionsTest, LeavesToTheSettingsWhatIsNotSaid)
{
    auto const options = Parsed({});
    EXPECT_EQ(options.loop, std::nullopt);
    EXPECT_EQ(options.mute, std::nullopt);
    EXPECT_EQ(options.volume, std::nullopt);
    EXPECT_EQ(options.cacheMegabytes, std::nullopt);
    EXPECT_EQ(options.geometry, std::nullopt);
    EXPECT_EQ(options.audio, "portaudio");
    EXPECT_EQ(options.painting, PictureView::Painting::Automatic);
    EXPECT_EQ(options.stillSeconds, std::nullopt);
    EXPECT_EQ(Parsed({"--loop=no"}).loop, false);
}

TEST(PlayerOptionsTest, ChoosesOutputs)
{
    EXPECT_EQ(Parsed({"--audio=wav:/tmp/x.wav"}).audio, "wav:/tmp/x.wav");
    EXPECT_EQ(Parsed({"--audio=null"}).audio, "null");
    EXPECT_EQ(Parsed({"--opengl=no"}).painting, PictureView::Painting::Painter);
    EXPECT_EQ(Parsed({"--opengl=yes"}).painting, PictureView::Painting::OpenGl);
    EXPECT_EQ(Parsed({"--geometry=320x240"}).geometry, QRect(-1, -1, 320, 240));
}

TEST(PlayerOptionsTest, RefusesWhatMakesNoSense)
{
    EXPECT_EQ(Parsed({"--speed=0"}).fault, "--speed does not take \"0\".");
    EXPECT_EQ(Parsed({"--speed=17"}).fault, "--speed does not take \"17\".");
    EXPECT_EQ(Parsed({"--speed=nan"}).fault, "--speed does not take \"nan\".");
    EXPECT_EQ(Parsed({"--start=soon"}).fault, "--start does not take \"soon\".");
    EXPECT_EQ(Parsed({"--fps=0"}).fault, "--fps does not take \"0\".");
    EXPECT_EQ(Parsed({"--still-seconds=-1"}).fault, "--still-seconds does not take \"-1\".");
    EXPECT_EQ(Parsed({"--cache-mb=-1"}).fault, "--cache-mb does not take \"-1\".");
    EXPECT_EQ(Parsed({"--sound-stream=0"}).fault, "--sound-stream does not take \"0\".");
    EXPECT_EQ(Parsed({"--audio=wav:"}).fault, "--audio does not take \"wav:\".");
    EXPECT_EQ(Parsed({"--geometry=0x5"}).fault, "--geometry does not take \"0x5\".");
    EXPECT_EQ(Parsed({"--loop=perhaps"}).fault, "--loop does not take \"perhaps\".");
    EXPECT_NE(Parsed({"--nonsense"}).fault, "");
}
