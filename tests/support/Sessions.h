#pragma once

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"

#include <QList>
#include <QString>

#include <memory>
#include <vector>

class MediaInfo;
class MediaInstance;

using Sounds = QList<std::shared_ptr<DecodedAudioFrame>>;
using Pictures = QList<std::shared_ptr<DecodedVideoFrame>>;

// Sets AvGlobals::maxAudioOutputChannels during its lifetime.
class OutputChannels
{
public:
    explicit OutputChannels(int channels);
    ~OutputChannels();
    OutputChannels(OutputChannels const&) = delete;
    OutputChannels& operator=(OutputChannels const&) = delete;

private:
    int before;
};

// A probed description, not null; the test checks whether the probe succeeded.
std::shared_ptr<MediaInfo> Probed(QString const& path, bool isImage = false);

struct Decoded
{
    Sounds sounds;
    Pictures pictures;

    long long SampleFrames() const;        // samples per channel of all sounds
    std::vector<long long> Starts() const; // of the pictures, without end-of-stream records
    int Marks() const;                     // end-of-stream records
};

// Decodes until there is no packet.
Decoded DecodeAll(MediaInstance& instance, long long seekTime = -1);

bool IsEndMark(DecodedVideoFrame const& record);
bool IsPicture(DecodedVideoFrame const& record);
