#include "common/VideoStream.h"

#include <gtest/gtest.h>

TEST(VideoStreamTest, StartsNotValidAndEmpty)
{
    VideoStream const stream;
    EXPECT_FALSE(stream.valid);
    EXPECT_EQ(stream.streamIndex, -1);
    EXPECT_TRUE(stream.codecName.isEmpty());
    EXPECT_EQ(stream.width, 0);
    EXPECT_EQ(stream.height, 0);
    EXPECT_EQ(stream.pixelAspectRatio, 0.0f);
    EXPECT_EQ(stream.startTime, 0);
    EXPECT_EQ(stream.frameStep, 0);
    EXPECT_EQ(stream.frameRate, 0.0);
    EXPECT_EQ(stream.numFrames, 0);
    EXPECT_EQ(stream.codecDelay, 0);
    EXPECT_TRUE(stream.metadata.isEmpty());
}
