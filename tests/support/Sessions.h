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

// Sets AvGlobals::maxAudioOutputChannels while it lives.
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

// A probed description, not null; whether the probe went well is for the test to see.
std::shared_ptr<MediaInfo> Probed(QString const& path, bool isImage = false);

struct Decoded
{
    Sounds sounds;
    Pictures pictures;

    long long SampleFrames() const;        // samples per channel of all sounds
    std::vector<long long> Starts() const; // of the pictures, marks left out
    int Marks() const;                     // of the end of the stream
};

// Decodes until nothing is in hand.
Decoded DecodeAll(MediaInstance& instance, long long seekTime = -1);

bool IsEndMark(DecodedVideoFrame const& record);
bool IsPicture(DecodedVideoFrame const& record);
