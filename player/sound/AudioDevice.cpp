#include "player/sound/AudioDevice.h"

#include "player/sound/NullAudioDevice.h"
#include "player/sound/PortAudioDevice.h"
#include "player/sound/WavAudioDevice.h"

AudioDevice::~AudioDevice() = default;

std::unique_ptr<AudioDevice> AudioDevice::Make(QString const& name)
{
    if (name == "portaudio")
        return std::make_unique<PortAudioDevice>();
    if (name == "null")
        return std::make_unique<NullAudioDevice>();
    if (name.startsWith("wav:") && name.size() > 4)
        return std::make_unique<WavAudioDevice>(name.mid(4));
    return nullptr;
}
