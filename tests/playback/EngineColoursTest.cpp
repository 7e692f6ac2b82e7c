#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Patience.h"
#include "tests/support/Reference.h"

#include "decode/DecodedVideoFrame.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

namespace {

// Coded and tagged with the HD matrix: the converter's defaults show another red.
QString Crimson()
{
    return Clips::Made("crimson.mp4");
}

int GreenOf(DecodedVideoFrame const& picture)
{
    return picture.data[1];
}

double Green(bool isBt709)
{
    static double const greens[] = {Reference::FirstGreen(Crimson(), false), Reference::FirstGreen(Crimson(), true)};
    return greens[isBt709 ? 1 : 0];
}

constexpr double mostDifference = 2.0; // of libswscale's quick converter

} // namespace

TEST(EngineColoursTest, PlaybackEngineFollowsTheStreamUnlessToldOtherwise)
{
    auto const time = std::make_shared<VirtualTime>();
    PlaybackEngine engine(PlaybackOptions(), time);
    engine.Open(Crimson());
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_NEAR(GreenOf(*engine.GetPicture()), Green(true), mostDifference);
    EXPECT_EQ(engine.GetStatus().colours, "yuv420p bt709 tv");

    PlaybackEngine plain(Reference::PlainOptions(), time);
    plain.Open(Crimson());
    ASSERT_TRUE(plain.WaitUntilReady(patience));
    EXPECT_NEAR(GreenOf(*plain.GetPicture()), Green(false), mostDifference);
    EXPECT_EQ(plain.GetStatus().colours, "");
}

TEST(EngineColoursTest, PlaybackEngineSwitchesColoursWhereItStands)
{
    auto const time = std::make_shared<VirtualTime>();
    PlaybackEngine engine(PlaybackOptions(), time);
    engine.Open(Crimson());
    engine.Seek(200000);
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    for (bool const follows : {false, true, false}) {
        ColourSettings colours;
        colours.followStream = follows;
        engine.SetColours(colours);
        ASSERT_TRUE(engine.WaitUntilReady(patience));
        for (int i = 0; i < 3; ++i) {
            auto const picture = engine.GetPicture();
            ASSERT_TRUE(picture);
            EXPECT_EQ(picture->startTime, 200000 + 40000 * i);
            EXPECT_NEAR(GreenOf(*picture), Green(follows), mostDifference);
            engine.Step(1);
            ASSERT_TRUE(engine.WaitUntilReady(patience));
        }
        engine.Step(-3);
        ASSERT_TRUE(engine.WaitUntilReady(patience));
        EXPECT_NEAR(GreenOf(*engine.GetPicture()), Green(follows), mostDifference);
    }
    // The setting also applies to the next file.
    engine.Open(Crimson());
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    EXPECT_NEAR(GreenOf(*engine.GetPicture()), Green(false), mostDifference);
}

TEST(EngineColoursTest, PlaybackEngineSwitchesWhilePlayingEitherWay)
{
    for (double const speed : {1.0, -1.0}) {
        auto const time = std::make_shared<VirtualTime>();
        PlaybackEngine engine(PlaybackOptions(), time);
        engine.Open(Crimson());
        engine.Seek(200000);
        ASSERT_TRUE(engine.WaitUntilReady(patience));
        engine.SetSpeed(speed);
        for (int i = 0; i < 4; ++i) {
            ColourSettings colours;
            colours.followStream = i % 2 != 0;
            engine.SetColours(colours);
            ASSERT_TRUE(engine.WaitUntilReady(patience));
            EXPECT_NEAR(GreenOf(*engine.GetPicture()), Green(i % 2 != 0), mostDifference) << speed << ' ' << i;
            time->Advance(20000);
        }
    }
}
