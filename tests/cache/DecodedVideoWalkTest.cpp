#include <QObject> // first, as a program with windows may: its keywords must not meet names in our headers

#include "tests/cache/DecodedVideoWalk.h"
#include "tests/cache/WalkOptions.h"

TEST(DecodedVideoWalkTest, DoesAtEachStepWhatAPlainModelDoes)
{
    auto const seed = WalkSeed();
    DecodedVideoWalk<WalkRandom> walk{WalkRandom(seed)};
    for (unsigned long long step = 0; step < WalkSteps(); ++step) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
        walk.Step();
        if (testing::Test::HasFatalFailure())
            return;
    }
    EXPECT_GE(walk.MostFrames(), 37); // it has grown, gone round the end and run dry
    EXPECT_TRUE(walk.HasWrapped());
    EXPECT_TRUE(walk.HasDrained());
}
