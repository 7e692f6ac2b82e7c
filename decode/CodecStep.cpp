#include "decode/CodecStep.h"

#include "media/FfmpegBridge.h"

int TakeCodecStep(AVCodecContext* context, AVPacket const* packet, AVFrame* frame, bool& gotFrame, bool& endOfStream)
{
    gotFrame = false;
    if (!context || !frame)
        return AVERROR(EINVAL);
    if (packet) {
        int const sent = avcodec_send_packet(context, packet);
        if (sent < 0)
            return sent == AVERROR_EOF ? 0 : sent;
    }
    int const received = FfmpegBridge::ReceiveFrame(context, frame);
    if (received >= 0)
        gotFrame = true;
    else if (received == AVERROR_EOF)
        endOfStream = true;
    else if (received != AVERROR(EAGAIN))
        return received;
    return 0;
}

bool IsEmptyPacket(AVPacket const& packet)
{
    return packet.size == 0 && !packet.data;
}
