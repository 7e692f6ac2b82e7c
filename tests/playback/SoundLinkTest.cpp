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
    EXPECT_EQ(Position(), 0); // the output has only just begun
    Fill(20);
    EXPECT_EQ(Position(), 10000); // of the first sample of this block
    Leave();
    Fill(30);
    EXPECT_EQ(Position(), 30000);
    EXPECT_EQ(state.drift, 30000.0); // the time source has stood still
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
    EXPECT_EQ(state.drift, 0.0);
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
