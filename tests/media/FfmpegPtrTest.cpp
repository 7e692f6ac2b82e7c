#include "media/FfmpegPtr.h"

#include "tests/support/Media.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace {

void CountFree(void* counter, uint8_t* data)
{
    ++*static_cast<int*>(counter);
    av_free(data);
}

AVBufferRef* CountedBuffer(int& freed)
{
    size_t const size = 64 + AV_INPUT_BUFFER_PADDING_SIZE;
    auto* data = static_cast<uint8_t*>(av_mallocz(size));
    return av_buffer_create(data, size, CountFree, &freed, 0);
}

} // namespace

TEST(FfmpegPtrTest, FreesAPacketWithWhatItHolds)
{
    int freed = 0;
    {
        FfmpegPtr<AVPacket> const packet(av_packet_alloc());
        packet->buf = CountedBuffer(freed);
        packet->data = packet->buf->data;
        packet->size = 64;
        EXPECT_EQ(freed, 0);
    }
    EXPECT_EQ(freed, 1);
}

TEST(FfmpegPtrTest, FreesAFrameWithWhatItHolds)
{
    int freed = 0;
    {
        FfmpegPtr<AVFrame> const frame(av_frame_alloc());
        frame->buf[0] = CountedBuffer(freed);
        EXPECT_EQ(freed, 0);
    }
    EXPECT_EQ(freed, 1);
}

// AddressSanitizer's leak check verifies these.
TEST(FfmpegPtrTest, FreesContextsOfEveryKind)
{
    FfmpegPtr<AVCodecContext> const codec(avcodec_alloc_context3(nullptr));
    ASSERT_GE(avcodec_open2(codec.get(), avcodec_find_decoder(AV_CODEC_ID_MJPEG), nullptr), 0);
    FfmpegPtr<SwrContext> const resampler(swr_alloc());
    FfmpegPtr<SwsContext> const scaler(
        sws_getContext(8, 8, AV_PIX_FMT_YUV420P, 8, 8, AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
    AVFormatContext* opened = nullptr;
    QString const path = WriteMedia("short.wav", WavBytes(1, 1, 8000, 16, QByteArray(1600, 0)));
    ASSERT_GE(avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr), 0);
    FfmpegPtr<AVFormatContext> const format(opened);
    EXPECT_TRUE(codec && resampler && scaler && format);
}
