#include "tools/output/SoundLevels.h"

#include "source/Source.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"
#include "tests/tools/ToolMedia.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct Levels
{
    Levels(QString const& path, int columns, TimeRange const& range = {})
        : source(Source::OpenFile(path)), sound(source)
    {
        result = sound.Read(range, columns);
    }

    OutputChannels channels{8};
    LogCapture log;
    Source source;
    SoundLevels sound;
    SoundLevels::Result result = SoundLevels::Result::CannotOpen;
};

// 16-bit samples at 1000 Hz: one is a millisecond.
QString Sound(QString const& name, int channels, std::vector<short> const& samples)
{
    QByteArray data(static_cast<int>(2 * samples.size()), 0);
    qToLittleEndian<short>(samples.data(), static_cast<int>(samples.size()), data.data());
    return WriteMedia(name, WavBytes(1, channels, 1000, 16, data));
}

TimeRange Range(long long from, long long to)
{
    TimeRange range;
    range.from = from;
    range.to = to;
    return range;
}

} // namespace

TEST(SoundLevelsTest, KeepsLowestHighestAndRmsOfEachColumn)
{
    Levels const levels(Sound("mono.wav", 1, {100, -300, 5, 7, 0, 0, -4, -4}), 4);
    ASSERT_EQ(levels.result, SoundLevels::Result::Done);
    EXPECT_EQ(levels.sound.GetChannelCount(), 1);
    EXPECT_EQ(levels.sound.GetLevel(0, 0).lowest, -300);
    EXPECT_EQ(levels.sound.GetLevel(0, 0).highest, 100);
    EXPECT_DOUBLE_EQ(levels.sound.GetLevel(0, 0).GetRms(), std::sqrt((100 * 100 + 300 * 300) / 2.0));
    EXPECT_EQ(levels.sound.GetLevel(0, 1).lowest, 5);
    EXPECT_EQ(levels.sound.GetLevel(0, 1).highest, 7);
    EXPECT_EQ(levels.sound.GetLevel(0, 2).highest, 0);
    EXPECT_EQ(levels.sound.GetLevel(0, 2).count, 2);
    EXPECT_EQ(levels.sound.GetLevel(0, 3).highest, -4);
    EXPECT_EQ(levels.sound.GetPeak(), 300);
    EXPECT_EQ(levels.sound.GetFrom(), 0);
    EXPECT_EQ(levels.sound.GetTo(), 8000);
}

TEST(SoundLevelsTest, KeepsChannelsApart)
{
    Levels const levels(Sound("stereo.wav", 2, {1, -10, 2, -20, 3, -30, 4, -40}), 2);
    ASSERT_EQ(levels.sound.GetChannelCount(), 2);
    EXPECT_EQ(levels.sound.GetLevel(0, 0).highest, 2);
    EXPECT_EQ(levels.sound.GetLevel(0, 1).highest, 4);
    EXPECT_EQ(levels.sound.GetLevel(1, 0).lowest, -20);
    EXPECT_EQ(levels.sound.GetLevel(1, 1).lowest, -40);
}

TEST(SoundLevelsTest, TakesOnlyWhatLiesInTheRange)
{
    QString const path = Sound("eight.wav", 1, {1, 2, 3, 4, 5, 6, 7, 8});
    Levels const levels(path, 2, Range(2000, 6000));
    EXPECT_EQ(levels.sound.GetLevel(0, 0).lowest, 3);
    EXPECT_EQ(levels.sound.GetLevel(0, 0).highest, 4);
    EXPECT_EQ(levels.sound.GetLevel(0, 1).lowest, 5);
    EXPECT_EQ(levels.sound.GetLevel(0, 1).highest, 6);
    EXPECT_EQ(Levels(path, 2, Range(6000, 99000)).sound.GetTo(), 8000);
    EXPECT_EQ(Levels(path, 2, Range(8000, 99000)).result, SoundLevels::Result::NothingInRange);
}

TEST(SoundLevelsTest, LetsASampleFillTheColumnsUpToTheNext)
{
    Levels const levels(Sound("two.wav", 1, {7, 9}), 8);
    for (int column = 0; column < 4; ++column)
        EXPECT_EQ(levels.sound.GetLevel(0, column).highest, 7) << column;
    for (int column = 4; column < 8; ++column)
        EXPECT_EQ(levels.sound.GetLevel(0, column).highest, 9) << column;
}

// The pictures begin half a second before the sound.
TEST(SoundLevelsTest, HasNoSamplesWhereThereIsNoSound)
{
    QString const late = MakeMedia("late-sound.mkv", Picture("64x48", 10, 2.0) + QStringList{"-itsoffset", "0.5"} +
                                                         Tone(8000, 1, 1.5) + QStringList{"-c:a", "pcm_s16le"});
    Levels const levels(late, 20);
    ASSERT_EQ(levels.result, SoundLevels::Result::Done);
    EXPECT_EQ(levels.sound.GetTo(), 2000000);
    for (int column = 0; column < 20; ++column)
        EXPECT_EQ(levels.sound.GetLevel(0, column).count > 0, column >= 5) << column;
}

TEST(SoundLevelsTest, FindsTheEndWhereTheLengthIsAGuess)
{
    QString const sound =
        MakeMedia("endless.mka", Tone(8000, 1, 2.0) + QStringList{"-c:a", "pcm_s16le", "-f", "matroska", "-live", "1"});
    Levels const levels(sound, 10);
    EXPECT_EQ(levels.sound.GetTo(), 2000000);
}
