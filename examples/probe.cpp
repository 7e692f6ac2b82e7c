// Describes a file: the container's duration, then each stream with its tags. Only the head of the file is read.

#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <QFile>

#include <cstdio>

namespace {

void PrintContainer(MediaInfo const& info)
{
    std::printf("%s\n", qPrintable(info.GetFileName()));
    if (info.GetDuration() >= 0) // microseconds; -1 where the container does not say
        std::printf("  %.3f seconds\n", info.GetDurationInSeconds());
}

void PrintTags(QMap<QString, QString> const& tags)
{
    for (auto tag = tags.begin(); tag != tags.end(); ++tag)
        std::printf("    %s: %s\n", qPrintable(tag.key()), qPrintable(tag.value()));
}

void PrintVideo(VideoStream const& stream)
{
    std::printf("  video %d: %s, %d x %d, %g pictures a second, %lld in all, the first at %lld us\n",
                stream.streamIndex, qPrintable(stream.codecName), stream.width, stream.height, stream.frameRate,
                stream.numFrames, stream.startTime);
    PrintTags(stream.metadata);
}

void PrintAudio(AudioStream const& stream)
{
    std::printf("  sound %d: %s, %d channels at %d Hz\n", stream.streamIndex, qPrintable(stream.codecName),
                stream.channels, stream.sampleRate);
    PrintTags(stream.metadata);
}

bool Probe(QString const& path)
{
    auto const info = std::make_shared<MediaInfo>(path); // shared, because a decoding session refers to it
    if (!MediaReader::ParseMedia(info))
        return false; // the log says why: on standard error, unless the program has set a sink
    PrintContainer(*info);
    for (auto const& stream : info->GetVideoStreams()) {
        if (stream.valid) // a stream without a decoder has no description
            PrintVideo(stream);
    }
    for (auto const& stream : info->GetAudioStreams()) {
        if (stream.valid)
            PrintAudio(stream);
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: probe FILE\n");
        return 2;
    }
    return Probe(QFile::decodeName(argv[1])) ? 0 : 1;
}
