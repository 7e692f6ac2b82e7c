#include "media/AvGlobals.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

// Read during static initialisation, before any test sets it.
int const channelsBeforeAnyHost = AvGlobals::maxAudioOutputChannels;

} // namespace

TEST(AvGlobalsTest, AllowsNoOutputChannelUntilTheHostSaysHowMany)
{
    EXPECT_EQ(channelsBeforeAnyHost, 0);
}

TEST(AvGlobalsTest, KnowsTheSixImageFormatsInAnyCase)
{
    for (char const* name : {"dpx", "exr", "mjpeg", "png", "targa", "tiff"}) {
        EXPECT_TRUE(AvGlobals::IsImageFormat(name)) << name;
        EXPECT_TRUE(AvGlobals::IsImageFormat(QString(name).toUpper())) << name;
    }
    EXPECT_TRUE(AvGlobals::IsImageFormat("Png"));
}

TEST(AvGlobalsTest, KnowsNoOtherImageFormat)
{
    for (char const* name :
         {"", "jpeg", "jpg", "image2", "bmp", "gif", "tif", " png", "png ", "png_pipe", "pn", "apng", "mjpegb", "h264"})
        EXPECT_FALSE(AvGlobals::IsImageFormat(name)) << name;
}

TEST(AvGlobalsTest, TellsTheWallClockInMicroseconds)
{
    using std::chrono::duration_cast;
    using std::chrono::microseconds;
    auto const now = [] {
        return duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    };
    auto const before = now();
    long long const time = AvGlobals::GetTime();
    auto const after = now();
    EXPECT_LE(before, time);
    EXPECT_LE(time, after);
}

TEST(AvGlobalsTest, AdvancesWithTheTimeThatPasses)
{
    long long const first = AvGlobals::GetTime();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GE(AvGlobals::GetTime() - first, 20000);
}
