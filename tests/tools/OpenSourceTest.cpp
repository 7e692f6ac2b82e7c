#include "tools/OpenSource.h"

#include "tests/support/Clips.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

TEST(OpenSourceTest, NamesStreamsWithoutDecoder)
{
    if (!HasClips())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    LogCapture const log;
    Source const source = Source::OpenFile(ClipPath("mp4-good-video-unknown-audio.mp4"));
    ASSERT_TRUE(source.IsDescribed());
    EXPECT_EQ(
        DescribeUndecodable(source),
        QStringList(
            "audio stream #1 cannot be decoded: FFmpeg has no usable decoder for \"unknown\" (tag [0][0][0][0])"));
}
