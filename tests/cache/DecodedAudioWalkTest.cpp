#include <QObject> // first, as in a program with windows: its keywords must not clash with names in our headers

#include "tests/cache/DecodedAudioWalk.h"
#include "tests/cache/WalkOptions.h"

TEST(DecodedAudioWalkTest, DoesAtEachStepWhatAPlainModelDoes)
{
    auto const seed = WalkSeed();
    DecodedAudioWalk<WalkRandom> walk{WalkRandom(seed)};
    for (unsigned long long step = 0; step < WalkSteps(); ++step) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
        walk.Step();
        if (testing::Test::HasFatalFailure())
            return;
    }
    // The walk has covered growth (SetMax gives at most 12 slots), wrapping round and drift both ways. Other seeds give
    // 43 frames, 285 corrections ahead and 118 back or more.
    EXPECT_GT(walk.MostFrames(), 12);
    EXPECT_TRUE(walk.HasWrapped());
    EXPECT_GE(walk.CorrectionsAhead(), 10);
    EXPECT_GE(walk.CorrectionsBack(), 10);
    RecordProperty("frames", walk.MostFrames());
    RecordProperty("ahead", walk.CorrectionsAhead());
    RecordProperty("back", walk.CorrectionsBack());
}
