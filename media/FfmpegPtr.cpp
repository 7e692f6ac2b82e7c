#include "media/FfmpegPtr.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

void FfmpegDeleter::operator()(AVCodecContext* context) const
{
    avcodec_free_context(&context);
}

void FfmpegDeleter::operator()(AVFormatContext* context) const
{
    avformat_close_input(&context);
}

void FfmpegDeleter::operator()(AVFrame* frame) const
{
    av_frame_free(&frame);
}

void FfmpegDeleter::operator()(AVPacket* packet) const
{
    av_packet_free(&packet);
}

void FfmpegDeleter::operator()(SwrContext* context) const
{
    swr_free(&context);
}

void FfmpegDeleter::operator()(SwsContext* context) const
{
    sws_freeContext(context);
}
