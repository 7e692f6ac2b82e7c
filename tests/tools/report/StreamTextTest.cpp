#include "tools/report/StreamText.h"

#include "common/AudioStream.h"
#include "common/VideoStream.h"

#include <gtest/gtest.h>

namespace {

QString RatioOf(int numerator, int denominator)
{
    VideoStream stream;
    stream.pixelAspectRatio = static_cast<float>(static_cast<double>(numerator) / static_cast<double>(denominator));
    return StreamText::AspectRatio(stream);
}

QString RateOf(double rate)
{
    VideoStream stream;
    stream.frameRate = rate;
    return StreamText::FrameRate(stream);
}

} // namespace

TEST(StreamTextTest, GivesTheAspectRatioAsTheContainerWroteIt)
{
    EXPECT_EQ(RatioOf(1, 1), "1:1");
    EXPECT_EQ(RatioOf(64, 45), "64:45");
    EXPECT_EQ(RatioOf(59, 54), "59:54");
    EXPECT_EQ(RatioOf(12, 11), "12:11");
    EXPECT_EQ(RatioOf(1137, 800), "1137:800");
    EXPECT_EQ(RatioOf(3, 4), "3:4");
    EXPECT_EQ(RatioOf(2, 1), "2:1");
    EXPECT_EQ(RatioOf(1, 1000), "1:1000");
}

TEST(StreamTextTest, GivesAnyAspectRatioInAnEnd)
{
    for (int numerator = 1; numerator < 200; ++numerator) {
        QStringList const parts = RatioOf(numerator, 197).split(':');
        ASSERT_EQ(parts.size(), 2);
        EXPECT_EQ(parts[0].toInt() * 197, numerator * parts[1].toInt());
    }
}

TEST(StreamTextTest, GivesTheRateInThousandths)
{
    EXPECT_EQ(RateOf(25.0), "25/1");
    EXPECT_EQ(RateOf(29.97), "2997/100");
    EXPECT_EQ(RateOf(23.976), "2997/125");
    EXPECT_EQ(RateOf(0.25), "1/4");
}

TEST(StreamTextTest, GivesNoRateForAnUnknownOneAndForImages)
{
    EXPECT_EQ(RateOf(0.0), "0/0");
    EXPECT_EQ(RateOf(-1.0), "0/0");
}

TEST(StreamTextTest, NamesWhatIsCodedAndNotTheDecoder)
{
    EXPECT_EQ(StreamText::CodecName("mp3float"), "mp3");
    EXPECT_EQ(StreamText::CodecName("h264"), "h264");
    EXPECT_EQ(StreamText::CodecName("no such decoder"), "no such decoder");
}

TEST(StreamTextTest, NamesChannelLayouts)
{
    AudioStream stream;
    stream.channelLayout = 3;
    EXPECT_EQ(StreamText::ChannelLayout(stream), "stereo");
    stream.channelLayout = 0x60f;
    EXPECT_EQ(StreamText::ChannelLayout(stream), "5.1(side)");
    stream.channelLayout = 0;
    EXPECT_EQ(StreamText::ChannelLayout(stream), "");
}

TEST(StreamTextTest, NamesNoSampleFormatThatThereIsNot)
{
    AudioStream stream;
    stream.sampleFormat = 8;
    EXPECT_EQ(StreamText::SampleFormat(stream), "fltp");
    stream.sampleFormat = -1;
    EXPECT_EQ(StreamText::SampleFormat(stream), "");
}
