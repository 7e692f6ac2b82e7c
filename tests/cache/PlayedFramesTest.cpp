#include "cache/PlayedFrames.h"

#include "decode/DecodedAudioFrame.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

using Frame = std::shared_ptr<DecodedAudioFrame>;

} // namespace

TEST(PlayedFramesTest, KeepsEveryFrameUntilItsOwnEnd)
{
    std::optional<PlayedFrames> played(std::in_place);
    std::vector<std::weak_ptr<DecodedAudioFrame>> watched;
    for (int i = 0; i < 3; ++i) {
        auto frame = std::make_shared<DecodedAudioFrame>();
        watched.push_back(frame);
        played->Take(frame);
        EXPECT_EQ(frame, nullptr);
    }
    for (auto const& frame : watched)
        EXPECT_FALSE(frame.expired());
    played.reset();
    for (auto const& frame : watched)
        EXPECT_TRUE(frame.expired());
}

TEST(PlayedFramesTest, TakesNothingAndTheSameFrameAgain)
{
    auto const kept = std::make_shared<DecodedAudioFrame>();
    for (int round = 0; round < 2; ++round) {
        PlayedFrames played;
        Frame none;
        played.Take(none);
        for (int i = 0; i < 3; ++i) {
            Frame frame = kept;
            played.Take(frame);
            EXPECT_EQ(frame, nullptr);
        }
        EXPECT_EQ(kept.use_count(), 2);
    }
    EXPECT_EQ(kept.use_count(), 1);
}

TEST(PlayedFramesTest, LeavesAFrameThatSomebodyHoldsWithoutLinks)
{
    auto const kept = std::make_shared<DecodedAudioFrame>();
    std::weak_ptr<DecodedAudioFrame> before;
    {
        PlayedFrames played;
        auto frame = std::make_shared<DecodedAudioFrame>();
        before = frame;
        played.Take(frame);
        frame = kept;
        played.Take(frame);
    }
    EXPECT_TRUE(before.expired());
    EXPECT_EQ(kept.use_count(), 1);
}

// A recursive release would overflow the stack.
TEST(PlayedFramesTest, ReleasesAnyNumberOfFrames)
{
    PlayedFrames played;
    for (int i = 0; i < 300000; ++i) {
        auto frame = std::make_shared<DecodedAudioFrame>();
        played.Take(frame);
    }
}
