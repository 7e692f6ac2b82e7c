#include "common/AudioStream.h"

#include <gtest/gtest.h>

TEST(AudioStreamTest, StartsNotValidAndEmpty)
{
    AudioStream const stream;
    EXPECT_FALSE(stream.valid);
    EXPECT_EQ(stream.streamIndex, -1);
    EXPECT_TRUE(stream.codecName.isEmpty());
    EXPECT_EQ(stream.channels, 0);
    EXPECT_EQ(stream.channelLayout, 0u);
    EXPECT_FALSE(stream.isPlanar);
    EXPECT_EQ(stream.bytesPerSample, 0);
    EXPECT_EQ(stream.sampleRate, 0);
    EXPECT_EQ(stream.sampleFormat, 0);
    EXPECT_EQ(stream.hostData, 0);
    EXPECT_TRUE(stream.metadata.isEmpty());
}

TEST(AudioStreamTest, CopiesWithTheHostsOwnField)
{
    AudioStream stream;
    stream.hostData = 0x123456789abcdef0;
    stream.metadata[QStringLiteral("language")] = QStringLiteral("eng");
    AudioStream const copy = stream;
    EXPECT_EQ(copy.hostData, 0x123456789abcdef0);
    EXPECT_EQ(copy.metadata.value(QStringLiteral("language")), QStringLiteral("eng"));
}
