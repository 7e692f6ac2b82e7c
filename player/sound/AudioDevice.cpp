#include "player/sound/AudioDevice.h"

namespace {

// Silent by choice: never calls the fill, so play follows the computer's clock.
class NullAudioDevice : public AudioDevice
{
public:
    bool Start(int /*sampleRate*/, int /*channels*/, Fill /*fill*/) override { return running = true; }
    void Stop() override { running = false; }
    State GetState() override { return running ? State::Running : State::Lost; }
    QString GetNote() const override { return {}; }

private:
    bool running = false;
};

} // namespace

AudioDevice::~AudioDevice() = default;

std::unique_ptr<AudioDevice> AudioDevice::Make(QString const& name)
{
    if (name == "portaudio")
        return MakePortAudio();
    if (name == "null")
        return std::make_unique<NullAudioDevice>();
    if (name.startsWith("wav:") && name.size() > 4)
        return MakeWav(name.mid(4));
    return nullptr;
}
