#pragma once

#include "media/FfmpegPtr.h"

#include <QStringList>

#include <cstdint>
#include <vector>

// The least that anybody can do with FFmpeg: the same decoder with the same threads, and one plain conversion of each
// picture into one buffer that is used again and again. What the library is measured against.
class PlainDecode
{
public:
    // One run over one source or a row of images of one kind. The pictures are `outputWidth` wide; 0: as coded.
    explicit PlainDecode(int outputWidth) : outputWidth(outputWidth) {}

    // How many pictures came out, all of them converted.
    int DecodeAll(QStringList const& paths, bool isImage);

    // Opens a movie for DecodeUpTo.
    bool Open(QString const& path, bool isImage);

    // Seeks to the key frame at or before `time`, in microseconds of the container, decodes every picture up to the
    // first that is not before `time`, and converts that one alone. Its time; negative when there is none.
    long long DecodeUpTo(long long time);

    std::vector<uint8_t> const& Rows() const { return rows; } // of the picture converted last

private:
    bool ReceiveAll(int& count);
    long long ReceiveUntil(long long time);
    bool Convert(AVFrame const& frame);

    int outputWidth;
    int streamIndex = -1;
    FfmpegPtr<AVFormatContext> format;
    FfmpegPtr<AVCodecContext> codec; // declared after what it reads from
    FfmpegPtr<SwsContext> scaler;
    FfmpegPtr<AVFrame> frame;
    FfmpegPtr<AVPacket> packet;
    std::vector<uint8_t> rows;
};
