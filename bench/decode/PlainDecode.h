#pragma once

#include "media/FfmpegPtr.h"

#include <QStringList>

#include <cstdint>
#include <vector>

// The least work possible with FFmpeg, as the baseline for the library: the same decoder with the same threads, and one
// plain conversion of each picture into one reused buffer.
class PlainDecode
{
public:
    // One run over one source or an image sequence. The pictures are `outputWidth` wide; 0: as coded.
    explicit PlainDecode(int outputWidth) : outputWidth(outputWidth) {}

    // Returns the number of pictures, all of them converted.
    int DecodeAll(QStringList const& paths, bool isImage);

    // Opens a movie for DecodeUpTo.
    bool Open(QString const& path, bool isImage);

    // Seeks to the key frame at or before `time` (container microseconds), decodes up to the first picture not before
    // `time`, and converts only that one. Returns its time; negative when there is none.
    long long DecodeUpTo(long long time);

    std::vector<uint8_t> const& Rows() const { return rows; } // of the last converted picture

private:
    bool ReceiveAll(int& count);
    long long ReceiveUntil(long long time);
    bool Convert(AVFrame const& frame);

    int outputWidth;
    int streamIndex = -1;
    FfmpegPtr<AVFormatContext> format;
    FfmpegPtr<AVCodecContext> codec; // declared after the input it reads from
    FfmpegPtr<SwsContext> scaler;
    FfmpegPtr<AVFrame> frame;
    FfmpegPtr<AVPacket> packet;
    std::vector<uint8_t> rows;
};
