#include "SoundScene.h"
#include "VirtualTime.h"

#include "playback/SoundLink.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

// Play runs forwards from 0 since the instant 1000, at which the time stands still at first.
class SoundLinkTest : public testing::Test
{
protected:
    SoundLinkTest()
    {
        state.SetMuteAboveSpeed(4.0);
        state.SetSpeed(1.0, 1000);
        state.Begin(1000);
    }

    void Leave(long long origin = 0) { link.Leave(state, output, origin); }

    std::vector<short> Fill(int frames, long long delay = 0)
    {
        std::vector<short> block(static_cast<size_t>(frames), 7);
        EXPECT_EQ(link.Fill(block.data(), frames, delay, time), frames);
        return block;
    }

    long long Position()
    {
        link.TakeReport(state);
        return state.GetPosition(time.GetTime());
    }

    VirtualTime time;
    PlayState state;
    std::shared_ptr<SoundOutput> const output = SoundScene::HalfASecond();
    SoundLink link;
};

TEST_F(SoundLinkTest, FillsNothingWithoutAnOrderForSound)
{
    short sample = 7;
    EXPECT_EQ(link.Fill(&sample, 1, 0, time), 0);
    link.Leave(state, nullptr, 0);
    EXPECT_EQ(link.Fill(&sample, 1, 0, time), 0);
    EXPECT_EQ(sample, 7);
    Leave();
    EXPECT_EQ(link.Fill(nullptr, 1, 0, time), 0);
    EXPECT_EQ(link.Fill(&sample, 0, 0, time), 0);
    EXPECT_EQ(link.Fill(&sample, -1, 0, time), 0);
    EXPECT_EQ(sample, 7);
}

TEST_F(SoundLinkTest, PlaysFromThePositionOfTheClock)
{
    time.Advance(200000);
    Leave();
    EXPECT_EQ(Fill(10).back(), 2100); // at 209 ms
}

TEST_F(SoundLinkTest, PlaysTheContainersTime)
{
    Leave(/*origin=*/100000);
    EXPECT_EQ(Fill(10).back(), 1100); // at 109 ms
    Fill(10);
    EXPECT_EQ(Position(), 10000);
}

TEST_F(SoundLinkTest, WhatHasBeenHandedOutIsTheClock)
{
    Leave();
    Fill(10);
    EXPECT_EQ(Position(), 0); // the output has just begun
    Fill(20);
    EXPECT_EQ(Position(), 10000); // of the first sample of this block
    Leave();
    Fill(30);
    EXPECT_EQ(Position(), 30000);
    EXPECT_EQ(state.drift, 30000.0); // the time source stood still
}

TEST_F(SoundLinkTest, TheClockIsWhatIsHeardNow)
{
    Leave();
    Fill(50);
    time.Advance(50000);
    Fill(50, /*delay=*/20000);
    state.reported = 0;
    EXPECT_EQ(Position(), 30000);
    time.Advance(25000);
    EXPECT_EQ(Position(), 55000);
    EXPECT_EQ(state.drift, -20000.0); // it is heard that much later than at first
}

// A sample more each second than the time source says; a pause in between counts as nothing.
TEST_F(SoundLinkTest, DriftIsHowFarTheClocksHaveDiffered)
{
    auto const fillSeconds = [this](int seconds) {
        for (int i = 0; i < 10 * seconds; ++i) {
            Leave();
            Fill(i % 10 == 0 ? 101 : 100, /*delay=*/80000);
            link.TakeReport(state);
            time.Advance(100000);
        }
    };
    fillSeconds(10);
    EXPECT_NEAR(state.drift, 10000.0, 1.0);
    state.SetSpeed(0.0, time.GetTime());
    Leave();
    Fill(100, /*delay=*/80000);
    time.Advance(5000000);
    Fill(100, /*delay=*/80000);
    state.SetSpeed(1.0, time.GetTime());
    state.Begin(time.GetTime());
    fillSeconds(5);
    EXPECT_NEAR(state.drift, 5000.0, 1.0);
}

// 300 ms are missing to the time source, and the sound goes on where play is, 80 ms before it is heard.
TEST_F(SoundLinkTest, AnOutputThatHasStoodStillGoesOnInTime)
{
    Leave();
    Fill(10, /*delay=*/80000);
    time.Advance(310000);
    Leave();
    EXPECT_EQ(Fill(20, /*delay=*/80000).back(), 10 * (310 + 80 + 19) + 10);
    EXPECT_EQ(Position(), 310000); // play has not waited
    time.Advance(20000);
    Fill(20, /*delay=*/80000);
    EXPECT_EQ(Position(), 330000);
    EXPECT_EQ(state.drift, 0.0);
}

TEST_F(SoundLinkTest, PlayWaitsForAnOutputThatFaltersShortly)
{
    Leave();
    Fill(10);
    time.Advance(200000);
    EXPECT_EQ(Fill(10).back(), 200); // none is left out
    state.reported = 0;
    EXPECT_EQ(Position(), 10000);
}

TEST_F(SoundLinkTest, AnOutputThatTellsItsDelayBadlyGoesOn)
{
    Leave();
    Fill(10);
    EXPECT_EQ(Fill(10, /*delay=*/400000).back(), 200);
    EXPECT_EQ(Fill(10, /*delay=*/0).back(), 300);
    EXPECT_EQ(Fill(10, /*delay=*/400000).back(), 400);
}

TEST_F(SoundLinkTest, PlayThatHasJustBegunWaitsForTheSound)
{
    time.Advance(20000);
    Leave();
    EXPECT_EQ(Fill(10, /*delay=*/80000).back(), 10 * (20 + 9) + 10);
    Fill(10, /*delay=*/80000);
    link.TakeReport(state);
    EXPECT_EQ(state.clock.GetPosition(time.GetTime()), 30000 - 80000); // what is heard now
}

// What play has shown of the pictures meanwhile is not shown once more.
TEST_F(SoundLinkTest, AnOutputThatComesLaterJoinsInTime)
{
    time.Advance(200000);
    Leave();
    EXPECT_EQ(Fill(10, /*delay=*/80000).back(), 10 * (200 + 80 + 9) + 10);
    time.Advance(10000);
    Fill(10, /*delay=*/80000);
    EXPECT_EQ(Position(), 210000);
}

// While paused, a step asks for a piece of 60 ms at its picture.
class SoundPieceTest : public SoundLinkTest
{
protected:
    SoundPieceTest()
    {
        state.SetScrubSound(true);
        state.SetSpeed(0.0, time.GetTime());
    }

    void StepTo(long long position, bool forwards)
    {
        state.Step(forwards ? 1 : -1, time.GetTime());
        state.MakeStep(position, /*isLast=*/false, time.GetTime());
        state.StartPiece();
        Leave();
    }
};

// By the samples of SoundScene: 10 a millisecond, faded over five at both ends.
TEST_F(SoundPieceTest, AStepOnGivesAPieceForwards)
{
    StepTo(100000, /*forwards=*/true);
    std::vector<short> expected;
    for (int i = 0; i < 60; ++i)
        expected.push_back(static_cast<short>(10 * (100 + i) + 10));
    for (int i = 0; i < 5; ++i) {
        expected[static_cast<size_t>(i)] = static_cast<short>(expected[static_cast<size_t>(i)] * i / 5);
        expected[static_cast<size_t>(59 - i)] = static_cast<short>(expected[static_cast<size_t>(59 - i)] * i / 5);
    }
    expected.resize(100, 0);
    EXPECT_EQ(Fill(100), expected);
    EXPECT_EQ(Fill(30), std::vector<short>(30, 0)); // once
    EXPECT_EQ(Position(), 100000);                  // play stands still
}

TEST_F(SoundPieceTest, AStepBackGivesAPieceBackwardsInBlocksOfAnySize)
{
    StepTo(100000, /*forwards=*/false);
    EXPECT_EQ(Fill(8), (std::vector<short>{0, 318, 632, 942, 1248, 1550, 1540, 1530}));
    EXPECT_EQ(Fill(48).back(), 840); // four fifths of the one at 104 ms
    EXPECT_EQ(Fill(6), (std::vector<short>{624, 412, 204, 0, 0, 0}));
}

TEST_F(SoundPieceTest, AFasterStepFadesTheFormerPieceOut)
{
    StepTo(100000, /*forwards=*/true);
    EXPECT_EQ(Fill(20).back(), 1200);
    StepTo(300000, /*forwards=*/true);
    EXPECT_EQ(Fill(12), (std::vector<short>{968, 732, 492, 248, 0, 0, 604, 1212, 1824, 2440, 3060, 3070}));
}

TEST_F(SoundPieceTest, PlayEndsAPiece)
{
    StepTo(100000, /*forwards=*/true);
    Fill(20);
    state.SetSpeed(1.0, time.GetTime());
    state.Begin(time.GetTime());
    Leave();
    EXPECT_EQ(Fill(11).back(), 10 * (100 + 10) + 10);
}

TEST_F(SoundLinkTest, ADelayThatMakesNoSenseIsHeldToWhatDoes)
{
    Leave();
    Fill(10);
    Fill(10, /*delay=*/-5);
    EXPECT_EQ(Position(), 10000);
    Fill(10, std::numeric_limits<long long>::max());
    link.TakeReport(state);
    EXPECT_EQ(state.clock.GetPosition(1000), 20000 - 3600000000LL); // an hour
}

TEST_F(SoundLinkTest, AReportOfAClockThatHasBeenSetSinceIsLeft)
{
    Leave();
    Fill(10);
    Fill(10);
    state.Seek(300000, time.GetTime());
    EXPECT_EQ(Position(), 300000);
    Leave();
    Fill(10);
    EXPECT_EQ(Position(), 300000);
}

TEST_F(SoundLinkTest, ReportsNothingWhilePlayStandsStill)
{
    state.SetSpeed(0.0, time.GetTime());
    Leave();
    EXPECT_EQ(Fill(10), std::vector<short>(10, 0));
    Fill(10);
    EXPECT_EQ(Position(), 0);
}

TEST_F(SoundLinkTest, KeepsAnOutputUntilAnotherOrderIsRead)
{
    Leave();
    Fill(10);
    EXPECT_GT(output.use_count(), 1);
    for (int i = 0; i < 3; ++i) {
        link.Leave(state, nullptr, 0);
        short sample = 0;
        EXPECT_EQ(link.Fill(&sample, 1, 0, time), 0);
    }
    EXPECT_EQ(output.use_count(), 1);
}

} // namespace
