// Writes the sound at a given speed to a WAV file, as fast as it can be decoded: the samples that a sound device's
// callback would get. One thread alternates between the work of two threads in a player: decoding into the cache, and
// filling blocks from it.

#include "cache/DecodedAudio.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int blockFrames = 1024;
constexpr long long second = 1000000; // microseconds, as all times

// Decodes until the cache reaches `until` or the file ends. Skips video packets.
void DecodeUpTo(MediaInstance& instance, DecodedAudio& cache, long long until)
{
    while (cache.GetEndTime() < until && instance.HasPacket()) {
        bool const drains = instance.IsEndOfFile();
        if (!drains && !instance.IsAudioPacket()) {
            instance.PrepareNextPacket(false);
            continue;
        }
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;
        QList<std::shared_ptr<DecodedVideoFrame>> pictures;
        instance.DecodeOnePacket(sounds, pictures, /*seekTime=*/-1);
        for (auto const& sound : sounds) {
            if (drains || sound != sounds.first()) { // it has no time of its own: continue where the last one ended
                sound->endTime += cache.GetEndTime() + 1 - sound->startTime;
                sound->startTime = cache.GetEndTime() + 1;
            }
            cache.AppendFrame(sound);
        }
    }
}

// `out` must be set to little-endian, as the WAV format requires.
void WriteHeader(QDataStream& out, int channels, int sampleRate, unsigned dataBytes)
{
    auto const frameBytes = static_cast<quint16>(2 * channels);
    out.device()->seek(0);
    out.writeRawData("RIFF", 4);
    out << static_cast<quint32>(36 + dataBytes);
    out.writeRawData("WAVEfmt ", 8);
    out << static_cast<quint32>(16) << static_cast<quint16>(1) << static_cast<quint16>(channels);
    out << static_cast<quint32>(sampleRate) << static_cast<quint32>(sampleRate * frameBytes);
    out << frameBytes << static_cast<quint16>(16);
    out.writeRawData("data", 4);
    out << static_cast<quint32>(dataBytes);
}

// Returns the number of frames written: the duration divided by the speed.
long long Render(MediaInstance& instance, double speed, QDataStream& out)
{
    int const channels = instance.GetOutputChannelCount();
    int const sampleRate = instance.GetSampleRate(); // of the source: PaFillBuffer never resamples
    double const frameUs = speed * static_cast<double>(second) / sampleRate; // source time per output frame
    DecodedAudio cache;
    cache.SetMaxFrameCount(100); // grows if needed
    DecodeUpTo(instance, cache, 1);
    long long const start = cache.GetStartTime();
    std::vector<short> block(static_cast<size_t>(blockFrames * channels));
    for (long long written = 0;;) {
        long long const time = start + std::llround(static_cast<double>(written) * frameUs);
        long long const ahead = std::llround(2 * blockFrames * frameUs);
        cache.UpdateCache(time - second, time + ahead + second);
        DecodeUpTo(instance, cache, time + ahead);
        long long const left = std::llround(static_cast<double>(cache.GetEndTime() + 1 - time) / frameUs);
        if (left <= 0)
            return written;
        cache.PaFillBuffer(block.data(), blockFrames, channels, sampleRate, time, /*volume=*/1.0, /*reset=*/false,
                           speed);
        auto const frames = static_cast<int>(std::min<long long>(left, blockFrames));
        for (int i = 0; i < frames * channels; ++i)
            out << static_cast<qint16>(block[static_cast<size_t>(i)]);
        written += frames;
    }
}

} // namespace

int main(int argc, char** argv)
{
    double const speed = argc == 4 ? std::atof(argv[2]) : 0.0;
    if (!(speed >= 0.1 && speed <= 16.0)) {
        std::fprintf(stderr, "Usage: sound FILE SPEED WAV (a speed from 0.1 to 16)\n");
        return 2;
    }
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    auto const info = std::make_shared<MediaInfo>(QFile::decodeName(argv[1]));
    MediaInstance instance;
    if (!MediaReader::ParseMedia(info) || !instance.Initialize(info, 0) || !instance.HasPacket() ||
        instance.GetActiveAudioStreamIndex() < 0)
        return 1;
    QFile file(QFile::decodeName(argv[3]));
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    QDataStream out(&file);
    out.setByteOrder(QDataStream::LittleEndian);
    WriteHeader(out, instance.GetOutputChannelCount(), instance.GetSampleRate(), 0);
    long long const frames = Render(instance, speed, out);
    auto const bytes = static_cast<unsigned>(frames * instance.GetOutputChannelCount() * 2);
    WriteHeader(out, instance.GetOutputChannelCount(), instance.GetSampleRate(), bytes); // the final sizes
    std::printf("%lld frames, %d channels at %d Hz\n", frames, instance.GetOutputChannelCount(),
                instance.GetSampleRate());
    return out.status() == QDataStream::Ok ? 0 : 1;
}
