#include "common/Settings.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

template <typename Expected, typename Constant>
constexpr bool HasType = std::is_same_v<Expected const, Constant>;

TEST(SettingsTest, HoldsItsConstantsWithTheirTypes)
{
    EXPECT_EQ(Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE, 24.0);
    EXPECT_EQ(Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE, 0.1);
    EXPECT_EQ(Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE, 1000.0);
    EXPECT_EQ(Settings::maxTrailingFramesAfterSeek, 2);
    EXPECT_EQ(Settings::ROUNDING_ERROR_EXTRA_TIME, 1000);
    EXPECT_EQ(Settings::maxTrailingCacheWhilePlaying, 0.1f);
    EXPECT_TRUE((HasType<double, decltype(Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE)>));
    EXPECT_TRUE((HasType<double, decltype(Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE)>));
    EXPECT_TRUE((HasType<double, decltype(Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE)>));
    EXPECT_TRUE((HasType<int32_t, decltype(Settings::maxTrailingFramesAfterSeek)>));
    EXPECT_TRUE((HasType<int32_t, decltype(Settings::ROUNDING_ERROR_EXTRA_TIME)>));
    EXPECT_TRUE((HasType<float, decltype(Settings::maxTrailingCacheWhilePlaying)>));
}
