#include "decode/DecodedAudioFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <QList>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

// A typical first program with the library: probes a file, decodes it and prints the result. It writes the file itself:
// 1.5 seconds of silence.

namespace {

constexpr int sampleRate = 8000;
constexpr int frameCount = 12000; // 16 bits, one channel

void PutNumber(std::ostream& out, uint32_t number, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.put(static_cast<char>(number >> (8 * i) & 0xff));
}

void WriteSilence(std::string const& path)
{
    constexpr uint32_t dataSize = 2 * frameCount;
    std::ofstream out(path, std::ios::binary);
    out << "RIFF";
    PutNumber(out, 36 + dataSize, 4);
    out << "WAVEfmt ";
    PutNumber(out, 16, 4);
    PutNumber(out, 1, 2); // PCM
    PutNumber(out, 1, 2); // channels
    PutNumber(out, sampleRate, 4);
    PutNumber(out, 2 * sampleRate, 4); // bytes per second
    PutNumber(out, 2, 2);              // bytes per sample
    PutNumber(out, 16, 2);
    out << "data";
    PutNumber(out, dataSize, 4);
    out << std::string(dataSize, '\0');
}

int CountFrames(std::shared_ptr<MediaInfo> const& info)
{
    MediaInstance instance;
    instance.Initialize(info, 0);
    QList<std::shared_ptr<DecodedAudioFrame>> sounds;
    QList<std::shared_ptr<DecodedVideoFrame>> pictures;
    while (instance.HasPacket())
        instance.DecodePacket(sounds, pictures, -1);
    int frames = 0;
    for (auto const& sound : sounds)
        frames += sound->frameCount;
    return frames;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    WriteSilence(argv[1]);
    AvGlobals::maxAudioOutputChannels = 2;
    auto const info = std::make_shared<MediaInfo>(QString::fromLocal8Bit(argv[1]));
    if (!MediaReader::ParseMedia(info))
        return 1;
    int const frames = CountFrames(info);
    std::printf("%s, %d frames\n", qPrintable(info->GetDurationAsString()), frames);
    return info->GetDuration() == 1500000 && frames == frameCount ? 0 : 1;
}
