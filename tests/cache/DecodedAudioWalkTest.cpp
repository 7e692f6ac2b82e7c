#include <QObject> // first, as a program with windows may: its keywords must not meet names in our headers

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
    EXPECT_GE(walk.MostFrames(), 12); // it has grown, gone round the end and met drift both ways
    EXPECT_TRUE(walk.HasWrapped());
    EXPECT_GE(walk.CorrectionsAhead(), 10);
    EXPECT_GE(walk.CorrectionsBack(), 10);
    RecordProperty("frames", walk.MostFrames());
    RecordProperty("ahead", walk.CorrectionsAhead());
    RecordProperty("back", walk.CorrectionsBack());
}
