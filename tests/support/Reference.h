#pragma once

#include "media/FfmpegPtr.h"
#include "playback/PlaybackOptions.h"

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
    // `mediaType` is FFmpeg's AVMEDIA_TYPE_...; throws when there is no such stream that can be decoded. `threads`: 0
    // for as many as FFmpeg likes.
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

    // Hands every decoded frame to `take`, those held back at the end, too.
    void DecodeAll(std::function<void(AVFrame& frame)> const& take);

    void DecodeUntil(std::function<bool(AVFrame& frame)> const& isEnough); // the same, up to the first answer of true

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

// What FFmpeg, called directly and from the file's beginning to its end, makes of a file.
namespace Reference {

// What makes an engine convert as the plain call does, so that its pictures can be compared with these.
PlaybackOptions PlainOptions();

struct Picture
{
    long long time = 0; // microseconds from the first picture
    QByteArray hash;    // MurmurHash3 of the packed RGB rows, without padding
};

// Those that show at 0 or later and whose times rise. `untimedRate` is for pictures without times. Decoded once a
// process.
std::vector<Picture> DecodePictures(QString const& path, double untimedRate = 25.0);

// The same of a damaged file. FFmpeg patches up pictures by what its threads have at hand: those that do not come out
// the same each time have no hash.
std::vector<Picture> DecodeDamagedPictures(QString const& path);

QByteArray HashOf(unsigned char const* data, int width, int height, int stride);

struct Sound
{
    int channels = 0;
    int sampleRate = 0;
    std::vector<short> samples;
};

// All samples of the best stream of sound one after the other, as 16 bits, whatever their times. Those of the file that
// was asked for last are kept.
Sound const& DecodeSound(QString const& path);

QString SoundCodec(QString const& path); // of the best stream

// The container's time of the first picture of the best stream; 0 without one.
long long FirstPictureTime(QString const& path);

} // namespace Reference
