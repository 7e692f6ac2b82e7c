#include "playback/PlayClock.h"

#include <gtest/gtest.h>

namespace {

TEST(PlayClockTest, StandsStillAtZeroUntilItIsSet)
{
    PlayClock const clock;
    EXPECT_EQ(clock.GetPosition(0), 0);
    EXPECT_EQ(clock.GetPosition(123456789), 0);
    EXPECT_EQ(clock.GetSpeed(), 0.0);
}

TEST(PlayClockTest, GoesOnFromWhereItWasSetAtItsSpeed)
{
    PlayClock clock;
    clock.SetPosition(5000.0, 100);
    clock.SetSpeed(2.0, 100);
    EXPECT_EQ(clock.GetPosition(100), 5000);
    EXPECT_EQ(clock.GetPosition(350), 5500);
    clock.SetSpeed(-0.5, 350);
    EXPECT_EQ(clock.GetPosition(350), 5500);
    EXPECT_EQ(clock.GetPosition(1350), 5000);
    clock.SetPosition(7000.0, 1350);
    EXPECT_EQ(clock.GetPosition(1450), 6950);
    EXPECT_EQ(clock.GetSpeed(), -0.5);
}

TEST(PlayClockTest, MayBeSetForALaterInstant)
{
    PlayClock clock;
    clock.SetSpeed(1.0, 0);
    clock.SetPosition(2000.0, 700);
    EXPECT_EQ(clock.GetPosition(200), 1500);
}

TEST(PlayClockTest, RoundsDownOnEitherSideOfZero)
{
    PlayClock clock;
    clock.SetPosition(0.5, 0);
    EXPECT_EQ(clock.GetPosition(0), 0);
    clock.SetPosition(-0.5, 0);
    EXPECT_EQ(clock.GetPosition(0), -1);
}

// 3000 changes of speed, each a third of a microsecond of position apart: without fractions the position would stay 0.
TEST(PlayClockTest, KeepsFractionsOverManyChanges)
{
    PlayClock clock;
    for (int i = 0; i < 3000; ++i)
        clock.SetSpeed(i % 2 == 0 ? 0.25 : 0.75, i);
    EXPECT_EQ(clock.GetPosition(3000), 1500);
}

} // namespace
