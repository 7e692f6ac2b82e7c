#include "tests/support/Sessions.h"

#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <stdexcept>

OutputChannels::OutputChannels(int channels) : before(AvGlobals::maxAudioOutputChannels)
{
    AvGlobals::maxAudioOutputChannels = channels;
}

OutputChannels::~OutputChannels()
{
    AvGlobals::maxAudioOutputChannels = before;
}

std::shared_ptr<MediaInfo> Probed(QString const& path, bool isImage)
{
    auto info = std::make_shared<MediaInfo>(path);
    info->isImage = isImage;
    MediaReader::ParseMedia(info);
    return info;
}

long long Decoded::SampleFrames() const
{
    long long count = 0;
    for (auto const& sound : sounds)
        count += sound->frameCount;
    return count;
}

std::vector<long long> Decoded::Starts() const
{
    std::vector<long long> starts;
    for (auto const& picture : pictures) {
        if (IsPicture(*picture))
            starts.push_back(picture->startTime);
    }
    return starts;
}

int Decoded::Marks() const
{
    int count = 0;
    for (auto const& picture : pictures)
        count += IsEndMark(*picture) ? 1 : 0;
    return count;
}

Decoded DecodeAll(MediaInstance& instance, long long seekTime)
{
    Decoded decoded;
    for (int calls = 0; instance.HasPacket(); ++calls) {
        if (calls > 100000)
            throw std::runtime_error("the input does not end");
        instance.DecodePacket(decoded.sounds, decoded.pictures, seekTime);
    }
    return decoded;
}

bool IsEndMark(DecodedVideoFrame const& record)
{
    return !record.data && record.size == 0;
}

bool IsPicture(DecodedVideoFrame const& record)
{
    return record.data && record.status == 0;
}
