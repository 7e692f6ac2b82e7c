#include "decode/DecodedAudioFrame.h"

#include <gtest/gtest.h>

#include <memory>

TEST(DecodedAudioFrameTest, StartsWithoutSamplesAndWithoutTag)
{
    DecodedAudioFrame const frame;
    EXPECT_EQ(frame.samples, nullptr);
    EXPECT_EQ(frame.sampleCount, 0);
    EXPECT_EQ(frame.sampleCapacity, 0);
    EXPECT_EQ(frame.sampleRate, 0);
    EXPECT_EQ(frame.frameCount, 0);
    EXPECT_EQ(frame.startTime, 0);
    EXPECT_EQ(frame.endTime, 0);
    EXPECT_EQ(frame.tag, -1);
}

// AddressSanitizer checks the release.
TEST(DecodedAudioFrameTest, ReleasesSamplesFromArrayNewHoweverTheyWereCounted)
{
    auto frame = std::make_shared<DecodedAudioFrame>();
    frame->samples = new short[100]();
    frame->sampleCapacity = 100;
    frame->sampleCount = 250; // the cache may stretch it beyond its capacity
    frame.reset();
    frame = std::make_shared<DecodedAudioFrame>();
    frame->samples = new short[static_cast<size_t>(frame->sampleCapacity)]; // an array of length 0
    EXPECT_NE(frame->samples, nullptr);
    frame.reset();
}
