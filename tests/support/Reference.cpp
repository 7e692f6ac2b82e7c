#include "tests/support/Reference.h"

#include <QCryptographicHash>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

void Require(bool holds, char const* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

} // namespace

FfmpegPtr<AVFormatContext> OpenPlainly(QString const& path)
{
    AVFormatContext* opened = nullptr;
    Require(avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr) >= 0, "cannot open the input");
    FfmpegPtr<AVFormatContext> format(opened);
    avformat_find_stream_info(opened, nullptr);
    return format;
}

ReferenceInput::ReferenceInput(QString const& path, int mediaType) : format(OpenPlainly(path))
{
    streamIndex = av_find_best_stream(format.get(), static_cast<AVMediaType>(mediaType), -1, -1, nullptr, 0);
    Require(streamIndex >= 0, "no such stream");
    AVCodecParameters const* parameters = format->streams[streamIndex]->codecpar;
    codec.reset(avcodec_alloc_context3(nullptr));
    Require(avcodec_parameters_to_context(codec.get(), parameters) >= 0, "no codec context");
    codec->thread_count = 1;
    AVCodec const* decoder = avcodec_find_decoder(parameters->codec_id);
    Require(decoder && avcodec_open2(codec.get(), decoder, nullptr) >= 0, "cannot open the decoder");
}

ReferenceInput::~ReferenceInput() = default;

double ReferenceInput::TickUs() const
{
    AVRational const base = format->streams[streamIndex]->time_base;
    return static_cast<double>(base.num) / static_cast<double>(base.den) * 1000000.0;
}

FfmpegPtr<AVPacket> ReferenceInput::NextPacket()
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        if (packet->stream_index == streamIndex)
            return packet;
        av_packet_unref(packet.get());
    }
    return nullptr;
}

void ReferenceInput::DecodeAll(std::function<void(AVFrame& frame)> const& take)
{
    FfmpegPtr<AVFrame> const frame(av_frame_alloc());
    bool more = true;
    while (more) {
        auto const packet = NextPacket();
        more = packet != nullptr;
        avcodec_send_packet(codec.get(), packet.get());
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0)
            take(*frame);
    }
}

FfmpegPtr<AVPacket> EmptyPacket()
{
    FfmpegPtr<AVPacket> packet(av_packet_alloc());
    packet->stream_index = -1;
    return packet;
}

int RowBytes(int width)
{
    return (width * 3 + 3) / 4 * 4;
}

std::vector<uint8_t> ConvertPlainly(AVFrame const& frame, int outputWidth)
{
    auto const format = static_cast<AVPixelFormat>(frame.format);
    FfmpegPtr<SwsContext> const scaler(sws_getContext(frame.width, frame.height, format, outputWidth, frame.height,
                                                      AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
    Require(scaler != nullptr, "no conversion");
    auto const roomyStride = static_cast<size_t>((outputWidth + 128) / 64 * 64 * 3);
    std::vector<uint8_t> roomy(roomyStride * static_cast<size_t>(frame.height + 1));
    uint8_t* const planes[4] = {roomy.data()};
    int const strides[4] = {static_cast<int>(roomyStride)};
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);

    auto const stride = static_cast<size_t>(RowBytes(outputWidth));
    std::vector<uint8_t> picture(stride * static_cast<size_t>(frame.height));
    for (size_t row = 0; row < static_cast<size_t>(frame.height); ++row)
        std::memcpy(&picture[row * stride], &roomy[row * roomyStride], static_cast<size_t>(outputWidth) * 3);
    return picture;
}

std::vector<uint8_t> EncodeGammaPlainly(std::vector<uint8_t> bytes)
{
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(std::floor(255.0 * std::pow(byte / 255.0, 1.0 / 2.2) + 0.5));
    return bytes;
}

QByteArray Md5OfPicture(uint8_t const* data, int width, int height)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (int row = 0; row < height; ++row)
        hash.addData(QByteArray::fromRawData(
            reinterpret_cast<char const*>(data) + static_cast<qsizetype>(row) * RowBytes(width), width * 3));
    return hash.result().toHex();
}

FfmpegPtr<AVFrame> NoisePicture(int width, int height, int pixelFormat, uint32_t seed)
{
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = pixelFormat;
    Require(av_frame_get_buffer(frame.get(), 0) >= 0, "no picture");
    AVPixFmtDescriptor const* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(pixelFormat));
    int const depth = descriptor->comp[0].depth;
    uint32_t state = seed * 2654435761u + 1u;
    auto const next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    bool const hasPalette = (descriptor->flags & AV_PIX_FMT_FLAG_PAL) != 0;
    for (int plane = 0; plane < 4 && frame->data[plane]; ++plane) {
        if (plane == 1 && hasPalette) {
            for (uint32_t i = 0; i < 256; ++i) {
                uint32_t const colour = 0xff000000u | ((i * 0x010203u + 0x402010u) & 0xffffffu);
                std::memcpy(frame->data[1] + i * 4, &colour, 4);
            }
            continue;
        }
        bool const isChroma = plane == 1 || plane == 2;
        int const rows = isChroma ? AV_CEIL_RSHIFT(height, descriptor->log2_chroma_h) : height;
        int const bytes = av_image_get_linesize(static_cast<AVPixelFormat>(pixelFormat), width, plane);
        for (int row = 0; row < rows; ++row) {
            uint8_t* line = frame->data[plane] + static_cast<ptrdiff_t>(row) * frame->linesize[plane];
            if (depth <= 8) {
                for (int i = 0; i < bytes; ++i)
                    line[i] = static_cast<uint8_t>(next());
                continue;
            }
            for (int i = 0; i + 1 < bytes; i += 2) {
                auto const value = static_cast<uint16_t>(next() & ((1u << std::min(depth, 16)) - 1u));
                std::memcpy(line + i, &value, 2);
            }
        }
    }
    return frame;
}
