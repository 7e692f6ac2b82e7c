#pragma once

#include "media/FfmpegPtr.h"
#include "playback/PlaybackOptions.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

// Decodes files with FFmpeg only: one picture after the other, converted into rows with room.

// The opened file with its stream information; throws when it cannot be opened.
FfmpegPtr<AVFormatContext> OpenPlainly(QString const& path);

// An opened file and one stream of it, with a decoder of one thread.
class ReferenceInput
{
public:
    // `mediaType` is FFmpeg's AVMEDIA_TYPE_...; throws when there is no such stream with a decoder. `threads`: 0 lets
    // FFmpeg choose.
    ReferenceInput(QString const& path, int mediaType, int threads = 1);
    ReferenceInput(FfmpegPtr<AVFormatContext> opened, int mediaType, int threads);
    ~ReferenceInput();

    AVFormatContext* Format() const { return format.get(); }
    AVCodecContext* Codec() const { return codec.get(); }
    int StreamIndex() const { return streamIndex; }

    // Microseconds per tick of the stream.
    double TickUs() const;

    // The next packet of the stream; null at the end.
    FfmpegPtr<AVPacket> NextPacket();

    // Passes every decoded frame to `take`, including those held back at the end.
    void DecodeAll(std::function<void(AVFrame& frame)> const& take);

    void DecodeUntil(std::function<bool(AVFrame& frame)> const& isEnough); // until `isEnough` returns true

private:
    FfmpegPtr<AVFormatContext> format;
    FfmpegPtr<AVCodecContext> codec;
    int streamIndex = -1;
};

FfmpegPtr<AVPacket> EmptyPacket();

// Bytes per row of packed RGB, rounded up to a multiple of 4.
int RowBytes(int width);

// The picture as packed RGB of another width, bilinear; rows of RowBytes with padding 0.
std::vector<uint8_t> ConvertPlainly(AVFrame const& frame, int outputWidth);

// The same, with linear light encoded for a display gamma of 2.2.
std::vector<uint8_t> EncodeGammaPlainly(std::vector<uint8_t> bytes);

// MD5 in hex of the picture without its row padding.
QByteArray Md5OfPicture(uint8_t const* data, int width, int height);

// A picture of pseudo-random values within the format's range.
FfmpegPtr<AVFrame> NoisePicture(int width, int height, int pixelFormat, uint32_t seed);

// The content of a file as FFmpeg, called directly, decodes it from beginning to end.
namespace Reference {

// Options with which an engine converts as the plain call does, so that pictures can be compared.
PlaybackOptions PlainOptions();

struct Picture
{
    long long time = 0; // microseconds from the first picture
    QByteArray hash;    // MurmurHash3 of the packed RGB rows, without padding
};

// The pictures shown at 0 or later whose times rise. `untimedRate` is for pictures without times. Decoded once per
// process.
std::vector<Picture> DecodePictures(QString const& path, double untimedRate = 25.0);

// Their times, without converting them.
std::vector<long long> PictureTimes(QString const& path);

// The pictures of a damaged file. FFmpeg's concealment depends on its threads: pictures that differ between runs have
// no hash.
std::vector<Picture> DecodeDamagedPictures(QString const& path);

QByteArray HashOf(unsigned char const* data, int width, int height, int stride);

struct Sound
{
    int channels = 0;
    int sampleRate = 0;
    std::vector<short> samples;
};

// All samples of the best audio stream in sequence as 16 bits, ignoring their times. Decoded once per process.
Sound const& DecodeSound(QString const& path);

// The green of the first pixel of a picture of 8-bit 4:2:0 in limited range, by the formula of ITU-R BT.709 or BT.601.
double FirstGreen(QString const& path, bool isBt709);

QString SoundCodec(QString const& path); // of the best audio stream

// The container time of the first picture of the best video stream; 0 without one.
long long FirstPictureTime(QString const& path);

} // namespace Reference
