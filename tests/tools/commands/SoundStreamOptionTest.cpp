#include "tests/support/Media.h"
#include "tests/tools/FolderTest.h"

#include <gtest/gtest.h>

namespace {

// A stereo tone of 8000 Hz, and a mono one of 16000 Hz at another pitch.
QString TwoSounds()
{
    QStringList const low = {"-f", "lavfi", "-i", "sine=frequency=500:duration=2:sample_rate=16000"};
    return MakeMedia("two-sounds.mov", Picture("64x48", 25, 2) + Tone(8000, 2, 2) + low +
                                           QString("-map 0 -map 1 -map 2 -c:v mpeg4 -c:a pcm_s16le").split(' '));
}

// The second of them alone.
QString SecondSound()
{
    return MakeMedia("second-sound.wav", {"-i", TwoSounds(), "-map", "0:a:1", "-c:a", "pcm_s16le"});
}

QStringList SoundLines(ToolRun const& run)
{
    return run.Lines().filter("audio ");
}

} // namespace

class SoundStreamOptionTest : public FolderTest
{};

TEST_F(SoundStreamOptionTest, AudioWritesTheStreamThatIsAskedFor)
{
    ASSERT_EQ(Write("audio", {TwoSounds(), "--sound-stream", "2"}, "second.wav").exitCode, 0);
    ASSERT_EQ(Write("audio", {SecondSound()}, "alone.wav").exitCode, 0);
    EXPECT_EQ(ReadMedia(PathOf("second.wav")), ReadMedia(PathOf("alone.wav")));
    ASSERT_EQ(Write("audio", {TwoSounds()}, "best.wav").exitCode, 0);
    ASSERT_EQ(Write("audio", {TwoSounds(), "--sound-stream=1"}, "first.wav").exitCode, 0);
    EXPECT_EQ(ReadMedia(PathOf("best.wav")), ReadMedia(PathOf("first.wav")));
}

TEST_F(SoundStreamOptionTest, WaveDrawsTheStreamThatIsAskedFor)
{
    EXPECT_TRUE(Write("wave", {TwoSounds()}).Output().contains(", 2 channels, "));
    EXPECT_TRUE(Write("wave", {TwoSounds(), "--sound-stream", "2"}).Output().contains(", 1 channel, "));
}

TEST_F(SoundStreamOptionTest, DecodeDecodesTheStreamThatIsAskedFor)
{
    for (QStringList const& range : {QStringList(), QStringList{"--to", "1"}}) {
        ToolRun const chosen = RunTavolin(QStringList{"decode", "--md5", TwoSounds(), "--sound-stream", "2"} + range);
        EXPECT_EQ(chosen.exitCode, 0) << chosen.errors.toStdString();
        EXPECT_TRUE(chosen.Errors().contains("16000 Hz")) << chosen.errors.toStdString();
        ToolRun const best = RunTavolin(QStringList{"decode", "--md5", TwoSounds()} + range);
        EXPECT_TRUE(best.Errors().contains("8000 Hz")) << best.errors.toStdString();
        EXPECT_NE(SoundLines(chosen), SoundLines(best));
        EXPECT_FALSE(SoundLines(chosen).isEmpty());
    }
}

TEST_F(SoundStreamOptionTest, AStreamThatIsNotThereIsAFailureToOpen)
{
    QString const path = TwoSounds();
    for (char const* command : {"audio", "wave"}) {
        ToolRun const run =
            Write(command, {path, "--sound-stream", "3"}, QString("out.") + (*command == 'a' ? "wav" : "png"));
        EXPECT_EQ(run.exitCode, 3) << command;
        EXPECT_EQ(run.Errors(),
                  "tavolin: " + path + ": there is no sound stream 3 that can be decoded; the file has 2\n");
    }
    EXPECT_EQ(RunTavolin({"decode", path, "--sound-stream", "3"}).exitCode, 3);
    EXPECT_EQ(RunTavolin({"decode", path, "--sound-stream", "0"}).exitCode, 2);
}
