#include "fuzz/CpuLimit.h"
#include "fuzz/FuzzBytes.h"
#include "fuzz/FuzzFile.h"

#include "common/Logger.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/ImageFormat.h"
#include "source/MoviePictures.h"
#include "source/SoundStream.h"

extern "C" {
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <cstdlib>

// Probes, opens, decodes and seeks in a file of any bytes, by a session or by the streams of a source.
//
//     byte 0      suffix of the file's name         byte 1      how to read it, see Way
//     byte 2, 3   seek target, in 1/8 s             from 4 on   the file

namespace {

using Sounds = QList<std::shared_ptr<DecodedAudioFrame>>;
using Pictures = QList<std::shared_ptr<DecodedVideoFrame>>;

constexpr int mostCalls = 24;               // calls of DecodeOnePacket from each start
constexpr long long mostBytes = 24 << 20;   // delivered from each start
constexpr size_t largestInside = 64u << 20; // largest allocation in FFmpeg
constexpr int mostSeconds = 20;
constexpr int mostQuestions = 5000; // calls of the stop callback, one for each packet of a stream

char const* const suffixes[] = {"",     ".mp4", ".mkv", ".avi",  ".ts",  ".mpg", ".wav", ".mp3", ".flac",
                                ".ogg", ".flv", ".mov", ".webm", ".mxf", ".png", ".jpg", ".dpx", ".tif",
                                ".exr", ".tga", ".264", ".aac",  ".gif", ".bmp", ".ppm", ".wmv", ".m3u8"};

struct Way
{
    bool isImage;
    bool isLinear;
    bool usesStreams;
    int channels;

    explicit Way(uint8_t byte)
        : isImage((byte & 1) != 0), isLinear((byte & 2) != 0), usesStreams((byte & 4) != 0), channels(byte >> 3 & 7)
    {}
};

void Require(bool condition)
{
    if (!condition)
        std::abort();
}

// Checks the record's fields against its data, reading the data to its end. Returns its bytes.
long long Check(DecodedVideoFrame const& picture)
{
    if (picture.status == 1) {
        Require(picture.data && picture.size == 1);
        return 0;
    }
    Require((picture.data != nullptr) == (picture.size > 0));
    Require(picture.size == (3 * picture.width + 3) / 4 * 4 * picture.height);
    volatile uint8_t sum = 0;
    for (int i = 0; i < picture.size; i += 64)
        sum = sum + picture.data[i];
    if (picture.size > 0)
        sum = sum + picture.data[picture.size - 1];
    return picture.size;
}

long long Check(DecodedAudioFrame const& sound)
{
    Require(sound.samples && sound.sampleCount == sound.sampleCapacity);
    Require(sound.frameCount == 0 || sound.sampleCount % sound.frameCount == 0);
    short volatile sum = 0;
    for (int i = 0; i < sound.sampleCount; ++i)
        sum = static_cast<short>(sum ^ sound.samples[i]);
    return sound.sampleCount * 2LL;
}

template <typename Records>
long long CheckAll(Records const& records)
{
    long long bytes = 0;
    for (auto const& record : records)
        bytes += Check(*record);
    return bytes;
}

void Decode(MediaInstance& instance, long long seekTime)
{
    long long bytes = 0;
    for (int calls = 0; calls < mostCalls && bytes < mostBytes && instance.HasPacket(); ++calls) {
        Sounds sounds;
        Pictures pictures;
        instance.DecodeOnePacket(sounds, pictures, seekTime);
        bytes += CheckAll(sounds) + CheckAll(pictures);
        Pictures followed;
        if (!pictures.isEmpty() && pictures.last()->status == 1 && instance.FollowSizeChange(followed))
            bytes += CheckAll(followed);
    }
}

void PlayBySession(std::shared_ptr<MediaInfo> const& info, long long const (&places)[3])
{
    MediaInstance instance;
    if (!instance.Initialize(info, 0))
        return;
    Decode(instance, -1);
    for (long long const place : places) {
        instance.Seek(place);
        Decode(instance, place);
    }
    Pictures pictures;
    instance.DrainVideo(pictures, -1);
    CheckAll(pictures);
}

template <typename Record, typename Stream>
void PlayByStream(Stream& stream, long long const (&places)[3])
{
    long long bytes = 0;
    for (long long const place : places) {
        int questions = 0;
        StopCheck const stop = [&] { return ++questions > mostQuestions; };
        std::shared_ptr<Record> record;
        ReadResult result = stream.ReadAt(place, record, stop);
        for (int i = 0; i < mostCalls && bytes < mostBytes && result == ReadResult::Got; ++i) {
            Require(record->startTime <= record->endTime);
            bytes += Check(*record);
            result = stream.Read(record, stop);
        }
    }
}

void PlayByStreams(std::shared_ptr<MediaInfo> const& info, long long const (&places)[3])
{
    MoviePictures pictures(info, 25.0);
    if (pictures.Open())
        PlayByStream<DecodedVideoFrame>(pictures, places);
    SoundStream sound(info);
    if (sound.Open())
        PlayByStream<DecodedAudioFrame>(sound, places);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(largestInside);
    Logger::GetInstance().SetSink([](Logger::Level, QString const&, int) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    CpuLimit const limit(mostSeconds);
    FuzzBytes bytes(data, size);
    QString const suffix = QString::fromLatin1(suffixes[bytes.Byte() % std::size(suffixes)]);
    Way const way(bytes.Byte());
    long long const places[3] = {bytes.Byte() * 125000LL, bytes.Byte() * 125000LL, 0};
    QString const path = FuzzFile::Write(suffix, bytes.Rest(), bytes.RestSize());

    AvGlobals::maxAudioOutputChannels = way.channels;
    ImageFormatOf(path);
    auto const info = std::make_shared<MediaInfo>(path);
    info->isImage = way.isImage;
    info->isLinearColorSpace = way.isLinear;
    if (MediaReader::ParseMedia(info))
        way.usesStreams ? PlayByStreams(info, places) : PlayBySession(info, places);
    QFile::remove(path);
    return 0;
}
