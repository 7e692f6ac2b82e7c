#include "decode/DecodedVideoFrame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>

namespace {

uint8_t const bytes[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

} // namespace

TEST(DecodedVideoFrameTest, IsTheMarkOfTheEndByDefault)
{
    auto const mark = std::make_shared<DecodedVideoFrame>();
    EXPECT_EQ(mark->data, nullptr);
    EXPECT_EQ(mark->size, 0);
    EXPECT_EQ(mark->width, 0);
    EXPECT_EQ(mark->height, 0);
    EXPECT_EQ(mark->startTime, 0);
    EXPECT_EQ(mark->endTime, 0);
    EXPECT_EQ(mark->frameRate, 0.0);
    EXPECT_EQ(mark->rotation, 0);
    EXPECT_FALSE(mark->isLinear);
    EXPECT_EQ(mark->status, 0);
    EXPECT_TRUE(mark->text.isEmpty());
}

TEST(DecodedVideoFrameTest, CopiesItsBytes)
{
    DecodedVideoFrame const frame(bytes, 12, 2, 2, -40000, 29.97, 90, true);
    ASSERT_NE(frame.data, nullptr);
    EXPECT_NE(frame.data, bytes);
    EXPECT_EQ(std::memcmp(frame.data, bytes, 12), 0);
    EXPECT_EQ(frame.size, 12);
    EXPECT_EQ(frame.width, 2);
    EXPECT_EQ(frame.height, 2);
    EXPECT_EQ(frame.startTime, -40000);
    EXPECT_EQ(frame.endTime, 0);
    EXPECT_EQ(frame.frameRate, 29.97);
    EXPECT_EQ(frame.rotation, 90);
    EXPECT_TRUE(frame.isLinear);
    EXPECT_EQ(frame.status, 0);
    EXPECT_TRUE(frame.text.isEmpty());
}

TEST(DecodedVideoFrameTest, HasNoDataForLessThanOneByte)
{
    DecodedVideoFrame const none(bytes, 0, 2, 2, 0, 25.0, 0, false);
    EXPECT_EQ(none.data, nullptr);
    EXPECT_EQ(none.size, 0);
    DecodedVideoFrame const negative(nullptr, -5, 2, 2, 0, 25.0, 0, false);
    EXPECT_EQ(negative.data, nullptr);
    DecodedVideoFrame const one(bytes + 4, 1, 2, 2, 0, 25.0, 0, false);
    ASSERT_NE(one.data, nullptr);
    EXPECT_EQ(one.data[0], 5);
}

// AddressSanitizer checks the release.
TEST(DecodedVideoFrameTest, ReleasesWhateverDataItHolds)
{
    auto frame = std::make_shared<DecodedVideoFrame>(bytes, 12, 2, 2, 0, 25.0, 0, false);
    uint8_t* const taken = frame->data;
    frame->data = new uint8_t[3];
    frame->size = 3;
    frame.reset();
    EXPECT_EQ(taken[11], 12);
    delete[] taken;
}

TEST(DecodedVideoFrameTest, DiesOnAnyThread)
{
    auto frame = std::make_shared<DecodedVideoFrame>(bytes, 12, 2, 2, 0, 25.0, 0, false);
    std::weak_ptr<DecodedVideoFrame> const watch = frame;
    std::thread([last = std::move(frame)]() mutable { last.reset(); }).join();
    EXPECT_TRUE(watch.expired());
}
