#include <QObject> // first, as in a program with windows: its keywords must not clash with names in our headers

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
    // The walk has covered growth (the first growth of 25 slots gives 37; other seeds give 900 pictures or more),
    // wrapping round and draining.
    EXPECT_GE(walk.MostFrames(), 37);
    EXPECT_TRUE(walk.HasWrapped());
    EXPECT_TRUE(walk.HasDrained());
}
