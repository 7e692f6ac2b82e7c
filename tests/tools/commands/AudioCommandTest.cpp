#include "tests/support/FullDisk.h"
#include "tests/support/Media.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <vector>

namespace {

constexpr int rate = 8000;
constexpr int fade = rate / 200; // frames of the 5 ms at the start

// Two channels whose every frame tells its number: it, and its negative.
QByteArray Counting(int frames)
{
    QByteArray bytes;
    for (int i = 0; i < frames; ++i) {
        for (int sample : {i, -i}) {
            bytes.append(static_cast<char>(sample & 0xFF));
            bytes.append(static_cast<char>(sample >> 8 & 0xFF));
        }
    }
    return bytes;
}

// Three seconds.
QString CountingFile()
{
    return WriteMedia("counting.wav", WavBytes(1, 2, rate, 16, Counting(3 * rate)));
}

class AudioCommandTest : public FolderTest
{
protected:
    ToolRun Render(QString const& source, QStringList const& options)
    {
        return RunTavolin(QStringList{"audio", source, "-o", PathOf("out.wav")} + options);
    }

    // Behind the head of 44 bytes.
    std::vector<short> Written() const
    {
        QByteArray const bytes = ReadMedia(PathOf("out.wav")).mid(44);
        std::vector<short> samples(static_cast<size_t>(bytes.size()) / 2);
        qFromLittleEndian<short>(bytes.constData(), static_cast<qsizetype>(samples.size()), samples.data());
        return samples;
    }

    // That each frame is the source's at `first`, and `step` further for each one; less in the straight fade.
    void ExpectCount(int frames, int first, int step)
    {
        std::vector<short> const samples = Written();
        ASSERT_EQ(samples.size(), static_cast<size_t>(2 * frames));
        for (int i = 0; i < frames; ++i) {
            auto const place = static_cast<size_t>(2 * i);
            int const expected = (first + i * step) * std::min(i, fade) / fade;
            ASSERT_EQ(samples[place], expected) << i;
            ASSERT_EQ(samples[place + 1], -expected) << i;
        }
    }
};

} // namespace

TEST_F(AudioCommandTest, GivesTheSamplesThemselvesAtNormalSpeed)
{
    ToolRun const run = Render(CountingFile(), {});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.Output(), PathOf("out.wav") + ": 00:00:03.000 of sound, 24000 frames, 2 channels at 8000 Hz\n");
    ExpectCount(24000, 0, 1);
    QByteArray const samples = Counting(3 * rate);
    EXPECT_EQ(ReadMedia(PathOf("out.wav")).left(44), WavBytes(1, 2, rate, 16, samples).left(44));
}

TEST_F(AudioCommandTest, GivesTheReverseBackwards)
{
    ASSERT_EQ(Render(CountingFile(), {"--speed", "-1"}).exitCode, 0);
    ExpectCount(24000, 23999, -1);
}

TEST_F(AudioCommandTest, GivesTheRangeAlone)
{
    ASSERT_EQ(Render(CountingFile(), {"--from", "1", "--to", "2.5"}).exitCode, 0);
    ExpectCount(12000, 8000, 1);
    ASSERT_EQ(Render(CountingFile(), {"--from", "1", "--to", "2.5", "--speed=-1"}).exitCode, 0);
    ExpectCount(12000, 19999, -1);
    ASSERT_EQ(Render(CountingFile(), {"--from", "2", "--to", "99"}).exitCode, 0);
    ExpectCount(8000, 16000, 1);
}

TEST_F(AudioCommandTest, LeavesOutAndRepeatsFramesAtOtherSpeeds)
{
    ASSERT_EQ(Render(CountingFile(), {"--speed", "2"}).exitCode, 0);
    std::vector<short> const fast = Written();
    ASSERT_EQ(fast.size(), 2U * 12000);
    for (size_t i = fade; i + 1 < fast.size() / 2; ++i)
        ASSERT_EQ(fast[2 * (i + 1)] - fast[2 * i], 2) << i;
    ASSERT_EQ(Render(CountingFile(), {"--speed", "0.5"}).exitCode, 0);
    std::vector<short> const slow = Written();
    ASSERT_EQ(slow.size(), 2U * 48000);
    for (int i = fade; i < 48000 - 1; ++i) // the last one is rounded beyond the end
        ASSERT_NEAR(slow[2 * static_cast<size_t>(i)], i / 2.0, 1.0) << i;
}

TEST_F(AudioCommandTest, IsHeardAtEverySpeed)
{
    ASSERT_EQ(Render(CountingFile(), {"--speed", "-16"}).exitCode, 0);
    ExpectCount(1500, 23999, -16);
}

TEST_F(AudioCommandTest, ScalesBySound)
{
    ASSERT_EQ(Render(CountingFile(), {"--volume", "0.5"}).exitCode, 0);
    EXPECT_EQ(Written().at(2 * 10001), 5000);
}

TEST_F(AudioCommandTest, TakesTheSoundOfAMovieWithoutItsPictures)
{
    QString const movie = Movie("sound.mov", {"-c:v", "libx264", "-c:a", "pcm_s16le"});
    QString const plain = MakeMedia("sound-alone.wav", {"-i", movie, "-vn", "-c:a", "copy", "-bitexact"});
    ASSERT_EQ(Render(movie, {}).exitCode, 0);
    QByteArray const expected = ReadMedia(plain).mid(44);
    QByteArray const written = ReadMedia(PathOf("out.wav")).mid(44);
    EXPECT_EQ(written.size(), expected.size());
    int const faded = 4 * 44100 / 200;
    EXPECT_EQ(written.mid(faded), expected.mid(faded));
}

TEST_F(AudioCommandTest, ReadsAFileWhoseNameLooksLikeAPattern)
{
    ASSERT_TRUE(QFile::copy(CountingFile(), PathOf("take%03d.wav")));
    ASSERT_EQ(Render(PathOf("take%03d.wav"), {}).exitCode, 0);
    ExpectCount(24000, 0, 1);
}

TEST_F(AudioCommandTest, AnswersARangeWithoutSoundWithFour)
{
    ToolRun const run = Render(CountingFile(), {"--from", "3"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.errors.contains("there is no sound in the time asked for"));
    EXPECT_FALSE(QFile::exists(PathOf("out.wav")));
}

TEST_F(AudioCommandTest, SaysThatPicturesHaveNoSound)
{
    ToolRun const run = Render(MovingPicture("mute.mp4", {"-c:v", "libx264"}), {});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_TRUE(run.errors.contains("there is no sound in it"));
}

TEST_F(AudioCommandTest, LeavesNothingWhereWritingFails)
{
    ToolRun const run =
        RunInShell(OnFullDisk(8) + "exec \"$1\" audio \"$2\" -o \"$3\"", {CountingFile(), PathOf("out.wav")});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_TRUE(run.errors.contains("out.wav: cannot be written: ")) << run.errors.toStdString();
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

// A user who may do anything would have it replaced by a file.
TEST_F(AudioCommandTest, LeavesAPipeOrADeviceAsItIs)
{
    ASSERT_EQ(mkfifo(PathOf("out.wav").toLocal8Bit().constData(), 0600), 0);
    ToolRun const run = Render(CountingFile(), {});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_TRUE(run.errors.contains("out.wav: cannot be written: it is not a file but a device or a pipe\n"))
        << run.errors.toStdString();
    EXPECT_FALSE(QFileInfo(PathOf("out.wav")).isFile());
}

TEST_F(AudioCommandTest, RefusesMoreThanTheFormatHolds)
{
    // 22 MiB of bytes, of which each becomes a hundred samples of two.
    QFile file(PathOf("long.wav"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(WavBytes(1, 1, 48000, 8, QByteArray(22 << 20, '\0')).left(44));
    ASSERT_TRUE(file.resize(44 + (22 << 20)));
    file.close();
    ToolRun const run = Render(PathOf("long.wav"), {"--speed", "0.01"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_TRUE(run.errors.contains("a WAV file holds 4 GiB at most, and this takes ")) << run.errors.toStdString();
    EXPECT_FALSE(QFile::exists(PathOf("out.wav")));
}

TEST_F(AudioCommandTest, WritesTheSoundOfAMovieWhosePicturesHaveNoDecoder)
{
    QString const whole = Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
    EXPECT_EQ(RunTavolin({"audio", whole, "-o", PathOf("whole.wav")}).exitCode, 0);
    ToolRun const run = RunTavolin({"audio", WithoutDecoder("blind.mp4", whole, "avc1"), "-o", PathOf("blind.wav")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_GE(ReadMedia(PathOf("whole.wav")).size(), 44 + 4 * 44100 * 4); // four seconds of stereo
    EXPECT_EQ(ReadMedia(PathOf("blind.wav")), ReadMedia(PathOf("whole.wav")));
}

TEST_F(AudioCommandTest, NamesTheMissingDecoderOfTheSound)
{
    QString const whole = Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
    ToolRun const run = RunTavolin({"audio", WithoutDecoder("deaf.mp4", whole, "mp4a"), "-o", PathOf("deaf.wav")});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_TRUE(run.errors.contains("audio stream #1 cannot be decoded: FFmpeg has no usable decoder"));
}
