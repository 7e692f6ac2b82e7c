#pragma once

#include "media/FfmpegPtr.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

// What FFmpeg alone makes of a file: the plain way, one picture after the other, rows with room.

// Opened, with what FFmpeg finds out of its streams; throws when it cannot be opened.
FfmpegPtr<AVFormatContext> OpenPlainly(QString const& path);

// An opened file and one stream of it, with a decoder of one thread.
class ReferenceInput
{
public:
    // `mediaType` is FFmpeg's AVMEDIA_TYPE_...; throws when there is no such stream that can be decoded.
    ReferenceInput(QString const& path, int mediaType);
    ~ReferenceInput();

    AVFormatContext* Format() const { return format.get(); }
    AVCodecContext* Codec() const { return codec.get(); }
    int StreamIndex() const { return streamIndex; }

    // Microseconds per tick of the stream.
    double TickUs() const;

    // The next packet of the stream; null at the end.
    FfmpegPtr<AVPacket> NextPacket();

    // Hands every decoded frame to `take`, those held back at the end, too.
    void DecodeAll(std::function<void(AVFrame& frame)> const& take);

private:
    FfmpegPtr<AVFormatContext> format;
    FfmpegPtr<AVCodecContext> codec;
    int streamIndex = -1;
};

FfmpegPtr<AVPacket> EmptyPacket();

// Bytes of a row of packed RGB, rounded up to a multiple of 4.
int RowBytes(int width);

// The picture as packed RGB of another width, bilinear; rows of RowBytes, their padding 0.
std::vector<uint8_t> ConvertPlainly(AVFrame const& frame, int outputWidth);

// The same, with the values of linear light encoded for a display gamma of 2.2.
std::vector<uint8_t> EncodeGammaPlainly(std::vector<uint8_t> bytes);

// MD5 in hex of the picture without its row padding.
QByteArray Md5OfPicture(uint8_t const* data, int width, int height);

// A picture of pseudo-random values inside the format's range.
FfmpegPtr<AVFrame> NoisePicture(int width, int height, int pixelFormat, uint32_t seed);
