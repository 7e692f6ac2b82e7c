#include "bench/decode/PlainDecode.h"

#include "media/FfmpegBridge.h"

bool PlainDecode::Open(QString const& path, bool isImage)
{
    codec.reset();
    format.reset();
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr) < 0)
        return false;
    format.reset(opened);
    if (!isImage)
        avformat_find_stream_info(opened, nullptr);
    FfmpegBridge::DecoderPtr decoder = nullptr;
    streamIndex = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (streamIndex < 0)
        return false;
    codec.reset(avcodec_alloc_context3(nullptr));
    avcodec_parameters_to_context(codec.get(), opened->streams[streamIndex]->codecpar);
    codec->thread_count = 0;
    if (!frame)
        frame.reset(av_frame_alloc());
    if (!packet)
        packet.reset(av_packet_alloc());
    return avcodec_open2(codec.get(), decoder, nullptr) >= 0;
}

int PlainDecode::DecodeAll(QStringList const& paths, bool isImage)
{
    int count = 0;
    for (QString const& path : paths) {
        if (!Open(path, isImage))
            return -1;
        while (av_read_frame(format.get(), packet.get()) >= 0) {
            if (packet->stream_index == streamIndex)
                avcodec_send_packet(codec.get(), packet.get());
            av_packet_unref(packet.get());
            if (!ReceiveAll(count))
                return -1;
        }
        avcodec_send_packet(codec.get(), nullptr);
        if (!ReceiveAll(count))
            return -1;
    }
    return count;
}

bool PlainDecode::ReceiveAll(int& count)
{
    while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
        if (!Convert(*frame))
            return false;
        ++count;
    }
    return true;
}

long long PlainDecode::DecodeUpTo(long long time)
{
    AVRational const microseconds = {1, AV_TIME_BASE};
    long long const target = av_rescale_q(time, microseconds, format->streams[streamIndex]->time_base);
    if (avformat_seek_file(format.get(), streamIndex, 0, target, target, 0) < 0)
        return -1;
    avcodec_flush_buffers(codec.get());
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == streamIndex)
            avcodec_send_packet(codec.get(), packet.get());
        av_packet_unref(packet.get());
        long long const found = ReceiveUntil(time);
        if (found >= 0)
            return found;
    }
    avcodec_send_packet(codec.get(), nullptr);
    return ReceiveUntil(time);
}

long long PlainDecode::ReceiveUntil(long long time)
{
    AVRational const microseconds = {1, AV_TIME_BASE};
    AVRational const timeBase = format->streams[streamIndex]->time_base;
    while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
        long long const pictureTime = av_rescale_q(frame->best_effort_timestamp, timeBase, microseconds);
        if (pictureTime >= time)
            return Convert(*frame) ? pictureTime : -1;
    }
    return -1;
}

bool PlainDecode::Convert(AVFrame const& picture)
{
    int const width = outputWidth > 0 ? outputWidth : picture.width;
    int const stride = (width * 3 + 63) / 64 * 64;
    scaler.reset(sws_getCachedContext(scaler.release(), picture.width, picture.height,
                                      static_cast<AVPixelFormat>(picture.format), width, picture.height,
                                      AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaler)
        return false;
    rows.resize(static_cast<size_t>(stride) * static_cast<size_t>(picture.height) + 64);
    uint8_t* const planes[4] = {rows.data()};
    int const strides[4] = {stride};
    return sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, planes, strides) >= 0;
}
