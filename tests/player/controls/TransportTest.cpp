#include "player/controls/Transport.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<double> Shuttle(double speed, bool forwards, int times)
{
    std::vector<double> speeds;
    for (int i = 0; i < times; ++i) {
        speed = Transport::Shuttled(speed, forwards);
        speeds.push_back(speed);
    }
    return speeds;
}

} // namespace

TEST(TransportTest, ShuttlesFasterWithEachPress)
{
    EXPECT_EQ(Shuttle(0.0, true, 6), (std::vector<double>{1.0, 2.0, 4.0, 8.0, 16.0, 16.0}));
    EXPECT_EQ(Shuttle(0.0, false, 6), (std::vector<double>{-1.0, -2.0, -4.0, -8.0, -16.0, -16.0}));
}

TEST(TransportTest, SlowsDownBeforeItTurns)
{
    EXPECT_EQ(Shuttle(8.0, false, 6), (std::vector<double>{4.0, 2.0, 1.0, 0.0, -1.0, -2.0}));
    EXPECT_EQ(Shuttle(-4.0, true, 5), (std::vector<double>{-2.0, -1.0, 0.0, 1.0, 2.0}));
}

TEST(TransportTest, PausesBetweenSlowSpeedsAndTheOtherWay)
{
    EXPECT_EQ(Shuttle(0.5, false, 2), (std::vector<double>{0.0, -1.0}));
    EXPECT_EQ(Shuttle(1.5, false, 2), (std::vector<double>{0.75, 0.0}));
}

TEST(TransportTest, ChangesTheChosenSpeedByTenthsWithoutATrace)
{
    PlaybackEngine engine;
    Transport transport(engine);
    for (int i = 0; i < 7; ++i)
        transport.Perform(PlayerAction::Faster);
    EXPECT_EQ(transport.GetSpeed(), 1.7);
    for (int i = 0; i < 10; ++i)
        transport.Perform(PlayerAction::Slower);
    EXPECT_EQ(transport.GetSpeed(), 0.7);
    transport.Perform(PlayerAction::DoubleSpeed);
    EXPECT_EQ(transport.GetSpeed(), 1.4);
    transport.Perform(PlayerAction::HalveSpeed);
    transport.Perform(PlayerAction::HalveSpeed);
    EXPECT_EQ(transport.GetSpeed(), 0.35);
    transport.Perform(PlayerAction::ResetSpeed);
    EXPECT_EQ(transport.GetSpeed(), 1.0);
}

TEST(TransportTest, HoldsSpeedsAndVolumeToTheirRanges)
{
    PlaybackEngine engine;
    Transport transport(engine);
    transport.SetSpeed(100.0);
    EXPECT_EQ(transport.GetSpeed(), 16.0);
    transport.SetSpeed(-100.0);
    EXPECT_EQ(transport.GetSpeed(), -16.0);
    for (int i = 0; i < 30; ++i)
        transport.Perform(PlayerAction::VolumeDown);
    EXPECT_EQ(transport.GetVolume(), 0.0);
    transport.Perform(PlayerAction::VolumeUp);
    EXPECT_EQ(transport.GetVolume(), 0.05);
    for (int i = 0; i < 30; ++i)
        transport.Perform(PlayerAction::VolumeUp);
    EXPECT_EQ(transport.GetVolume(), 1.0);
}

TEST(TransportTest, LeavesWhatIsTheWindowsToTheWindow)
{
    PlaybackEngine engine;
    Transport transport(engine);
    EXPECT_FALSE(transport.Perform(PlayerAction::FullScreen));
    EXPECT_FALSE(transport.Perform(PlayerAction::Quit));
    EXPECT_TRUE(transport.Perform(PlayerAction::Mute));
    EXPECT_TRUE(transport.IsMuted());
}
