#include "SoundScene.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Samples = std::vector<short>;

SoundRun RunAt(long long milliseconds, double speed, long long seekSerial = 1)
{
    SoundRun run;
    run.seekSerial = seekSerial;
    run.sounding = speed != 0.0;
    run.position = milliseconds * 1000;
    run.speed = speed;
    return run;
}

Samples Fill(SoundOutput& output, int frames, SoundRun const& run)
{
    Samples block(static_cast<size_t>(frames), 7);
    output.Fill(block.data(), frames, run);
    return block;
}

TEST(SoundOutputTest, TellsItsFormat)
{
    SoundOutput const output(6, 48000);
    EXPECT_EQ(output.GetChannelCount(), 6);
    EXPECT_EQ(output.GetSampleRate(), 48000);
}

TEST(SoundOutputTest, BeginsFadingInAndGoesOnWithTheSamplesAsTheyAre)
{
    auto const output = SoundScene::HalfASecond();
    EXPECT_EQ(Fill(*output, 10, RunAt(0, 1.0)), (Samples{0, 4, 12, 24, 40, 60, 70, 80, 90, 100}));
    EXPECT_EQ(Fill(*output, 10, RunAt(0, 1.0)), (Samples{110, 120, 130, 140, 150, 160, 170, 180, 190, 200}));
    EXPECT_EQ(Fill(*output, 2, RunAt(0, 1.0)), (Samples{210, 220})); // from the samples prepared ahead
    EXPECT_EQ(Fill(*output, 2, RunAt(0, 1.0)), (Samples{230, 240}));
}

TEST(SoundOutputTest, PlaysBackwardsFromTheSampleThatEndsAtThePosition)
{
    auto const output = SoundScene::HalfASecond(/*forwards=*/false);
    EXPECT_EQ(Fill(*output, 8, RunAt(200, -1.0)), (Samples{0, 398, 792, 1182, 1568, 1950, 1940, 1930}));
    EXPECT_EQ(Fill(*output, 4, RunAt(200, -1.0)), (Samples{1920, 1910, 1900, 1890}));
    EXPECT_EQ(output->GetPosition(), 188000.0);
}

TEST(SoundOutputTest, AtDoubleSpeedEverySecondSampleIsLeftOut)
{
    auto const output = SoundScene::HalfASecond();
    Fill(*output, 10, RunAt(0, 2.0));
    EXPECT_EQ(Fill(*output, 5, RunAt(0, 2.0)), (Samples{210, 230, 250, 270, 290}));
    EXPECT_EQ(output->GetPosition(), 30000.0);
}

TEST(SoundOutputTest, ScalesByTheVolumeAndClips)
{
    auto const output = SoundScene::HalfASecond();
    SoundRun run = RunAt(0, 1.0);
    run.volume = 0.5;
    EXPECT_EQ(Fill(*output, 7, run), (Samples{0, 2, 6, 12, 20, 30, 35}));
    run = RunAt(300, 1.0, 2);
    run.volume = 1000.0;
    EXPECT_EQ(Fill(*output, 20, run).back(), 32767);
}

TEST(SoundOutputTest, StopsFadingOutAndIsSilentThen)
{
    auto const output = SoundScene::HalfASecond();
    Fill(*output, 10, RunAt(0, 1.0));
    EXPECT_EQ(Fill(*output, 8, RunAt(10, 0.0)), (Samples{88, 72, 52, 28, 0, 0, 0, 0}));
    EXPECT_EQ(Fill(*output, 3, RunAt(10, 0.0)), (Samples{0, 0, 0}));
}

TEST(SoundOutputTest, FadesOutOverSeveralShortBlocks)
{
    auto const output = SoundScene::HalfASecond();
    Fill(*output, 10, RunAt(0, 1.0));
    EXPECT_EQ(Fill(*output, 2, RunAt(10, 0.0)), (Samples{88, 72}));
    EXPECT_EQ(Fill(*output, 2, RunAt(10, 0.0)), (Samples{52, 28}));
    EXPECT_EQ(Fill(*output, 2, RunAt(10, 0.0)), (Samples{0, 0}));
}

// The new run starts at the position that it reaches when the former one has faded out.
TEST(SoundOutputTest, AJumpFadesTheOldOutBeforeTheNewFadesIn)
{
    auto const output = SoundScene::HalfASecond();
    Fill(*output, 10, RunAt(0, 1.0));
    EXPECT_EQ(Fill(*output, 12, RunAt(300, 1.0, 2)),
              (Samples{88, 72, 52, 28, 0, 0, 614, 1232, 1854, 2480, 3110, 3120}));
    EXPECT_EQ(output->GetPosition(), 312000.0);
}

TEST(SoundOutputTest, ATurnGoesBackFromThePositionItIsGiven)
{
    auto const output = SoundScene::HalfASecond();
    for (int i = 0; i < 5; ++i)
        output->Append(SoundScene::FrameAt(400 - 100 * i), /*forwards=*/false);
    Fill(*output, 10, RunAt(100, 1.0));
    EXPECT_EQ(Fill(*output, 12, RunAt(110, -1.0)), (Samples{888, 672, 452, 228, 0, 0, 208, 412, 612, 808, 1000, 990}));
}

TEST(SoundOutputTest, MutedItsTimeGoesOn)
{
    auto const output = SoundScene::HalfASecond();
    Fill(*output, 10, RunAt(0, 1.0));
    SoundRun muted = RunAt(10, 1.0);
    muted.sounding = false;
    EXPECT_FALSE(output->Follows(muted));
    Fill(*output, 30, muted);
    EXPECT_TRUE(output->Follows(muted));
    EXPECT_EQ(output->GetPosition(), 40000.0);
}

TEST(SoundOutputTest, TellsWhetherARunGoesOn)
{
    auto const output = SoundScene::HalfASecond();
    EXPECT_FALSE(output->Follows(RunAt(0, 1.0)));
    Fill(*output, 10, RunAt(0, 1.0));
    EXPECT_TRUE(output->Follows(RunAt(0, 1.0)));
    EXPECT_TRUE(output->Follows(RunAt(99, 2.5))); // another speed in the same direction
    EXPECT_FALSE(output->Follows(RunAt(0, -1.0)));
    EXPECT_FALSE(output->Follows(RunAt(0, 0.0)));
    EXPECT_FALSE(output->Follows(RunAt(0, 1.0, 2)));
    EXPECT_EQ(output->GetPosition(), 10000.0); // of the next sample
}

TEST(SoundOutputTest, IsSilentWhereNothingIsDecoded)
{
    auto const output = SoundScene::HalfASecond();
    EXPECT_EQ(Fill(*output, 6, RunAt(600, 1.0)), Samples(6, 0));
    EXPECT_EQ(Fill(*output, 6, RunAt(100, -1.0, 2)), Samples(6, 0)); // only forward sound is cached
}

TEST(SoundOutputTest, TrimLetsGoOfWhatLiesOutside)
{
    for (bool const forwards : {true, false}) {
        auto const output = SoundScene::HalfASecond(forwards);
        double const speed = forwards ? 1.0 : -1.0;
        output->Trim(200000, 299999, forwards);
        EXPECT_EQ(Fill(*output, 6, RunAt(150, speed, 1)), Samples(6, 0)) << forwards;
        EXPECT_EQ(Fill(*output, 20, RunAt(250, speed, 2)).back(), forwards ? 2700 : 2310) << forwards;
        EXPECT_EQ(Fill(*output, 20, RunAt(350, speed, 3)).back(), 0) << forwards;
    }
}

TEST(SoundOutputTest, ClearsOneDirectionOrBoth)
{
    auto const output = SoundScene::HalfASecond();
    for (int i = 0; i < 5; ++i)
        output->Append(SoundScene::FrameAt(400 - 100 * i), /*forwards=*/false);
    output->Clear(/*forwards=*/true);
    EXPECT_EQ(Fill(*output, 6, RunAt(100, 1.0, 1)), Samples(6, 0));
    EXPECT_EQ(Fill(*output, 20, RunAt(100, -1.0, 2)).back(), 810);
    output->Clear();
    EXPECT_EQ(Fill(*output, 20, RunAt(100, -1.0, 3)).back(), 0);
}

// The two channels of a frame stay together, in either direction.
TEST(SoundOutputTest, KeepsTheChannelsOfAFrameTogether)
{
    SoundOutput output(2, SoundScene::sampleRate);
    auto const frame = std::make_shared<DecodedAudioFrame>();
    frame->samples = new short[200];
    for (int i = 0; i < 100; ++i) {
        frame->samples[2 * i] = static_cast<short>(i);
        frame->samples[2 * i + 1] = static_cast<short>(-i);
    }
    frame->sampleCount = frame->sampleCapacity = 200;
    frame->frameCount = 100;
    frame->sampleRate = SoundScene::sampleRate;
    frame->endTime = 99999;
    output.Append(frame, /*forwards=*/false);
    Samples block(14);
    output.Fill(block.data(), 7, RunAt(100, -1.0));
    EXPECT_EQ(block, (Samples{0, 0, 19, -19, 38, -38, 57, -57, 76, -76, 94, -94, 93, -93}));
}

} // namespace
