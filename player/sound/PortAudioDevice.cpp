#include "common/Microseconds.h"
#include "player/sound/AudioDevice.h"

#include "player/sound/RateConverter.h"
#include "player/sound/SoundLibraries.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <portaudio.h>

namespace {

// A device that does not call for this long has stalled, even if it claims to be active.
constexpr auto patience = std::chrono::seconds(2);

// Seconds of buffered sound. Prevents gaps on a busy computer and delays only the effect of changes: the engine knows
// when each block is heard.
constexpr double calmLatency = 0.08;

PaStreamParameters ParametersOf(PaDeviceIndex device, int channels)
{
    PaStreamParameters parameters{};
    parameters.device = device;
    parameters.channelCount = channels;
    parameters.sampleFormat = paInt16;
    parameters.suggestedLatency = std::max(calmLatency, Pa_GetDeviceInfo(device)->defaultHighOutputLatency);
    return parameters;
}

// The computer's default sound output. Start can take a second, because it lists the system's devices: do not call it
// on the window's thread.
class PortAudioDevice : public AudioDevice
{
public:
    ~PortAudioDevice() override;

    bool Start(int sampleRate, int channels, Fill fill) override;
    void Stop() override;
    State GetState() override;
    QString GetNote() const override { return note; }

private:
    bool Open(int sampleRate, int channels);
    bool Fail(int error);
    void Fulfil(short* buffer, int frames, PaStreamCallbackTimeInfo const& time);
    static int OnBlock(void const* input, void* output, unsigned long frames, PaStreamCallbackTimeInfo const* time,
                       unsigned long flags, void* device);

    Fill fill;
    std::unique_ptr<RateConverter> converter; // null where the device takes the source's rate
    void* stream = nullptr;                   // PortAudio's
    bool initialized = false;                 // PortAudio is, by us
    int channels = 0;                         // of the stream
    double latency = 0.0;                     // seconds; used if the device does not report when a block is heard
    QString note;

    std::atomic<unsigned> blocks{0}; // asked for so far
    unsigned blocksSeen = 0;
    std::chrono::steady_clock::time_point lastBlock; // when `blocks` was last seen to grow
};

PortAudioDevice::~PortAudioDevice()
{
    PortAudioDevice::Stop();
}

bool PortAudioDevice::Start(int sampleRate, int sourceChannels, Fill newFill)
{
    Stop();
    SoundLibraries::Silence();
    fill = std::move(newFill);
    if (int const error = Pa_Initialize(); error != paNoError)
        return Fail(error);
    initialized = true;
    if (!Open(sampleRate, sourceChannels))
        return false;
    blocksSeen = blocks;
    lastBlock = std::chrono::steady_clock::now();
    if (int const error = Pa_StartStream(stream); error != paNoError)
        return Fail(error);
    return true;
}

bool PortAudioDevice::Open(int sampleRate, int sourceChannels)
{
    PaDeviceIndex const device = Pa_GetDefaultOutputDevice();
    if (device == paNoDevice) {
        Stop();
        note = "There is no sound device; playing without sound.";
        return false;
    }
    PaDeviceInfo const* info = Pa_GetDeviceInfo(device);
    channels = std::min(sourceChannels, std::max(1, info->maxOutputChannels));
    PaStreamParameters const parameters = ParametersOf(device, channels);
    int rate = sampleRate;
    if (Pa_IsFormatSupported(nullptr, &parameters, sampleRate) != paFormatIsSupported)
        rate = static_cast<int>(info->defaultSampleRate);
    if (rate != sampleRate || channels != sourceChannels)
        converter = RateConverter::Make(fill, {sampleRate, sourceChannels}, {rate, channels});
    int const error = Pa_OpenStream(&stream, nullptr, &parameters, rate, paFramesPerBufferUnspecified, paNoFlag,
                                    &PortAudioDevice::OnBlock, this);
    if (error != paNoError) {
        stream = nullptr;
        return Fail(error);
    }
    PaStreamInfo const* opened = Pa_GetStreamInfo(stream);
    latency = opened ? opened->outputLatency : 0.0;
    return true;
}

bool PortAudioDevice::Fail(int error)
{
    Stop();
    note = QString("The sound device cannot be used (%1); playing without sound.").arg(Pa_GetErrorText(error));
    return false;
}

void PortAudioDevice::Stop()
{
    if (stream)
        Pa_CloseStream(stream); // also aborts it
    stream = nullptr;
    converter.reset();
    if (initialized)
        Pa_Terminate(); // so that the next start finds new devices
    initialized = false;
    note.clear();
}

// A device that disappears ends its stream; one that is suspended keeps it and only stops calling.
AudioDevice::State PortAudioDevice::GetState()
{
    if (!stream)
        return State::Lost;
    auto const now = std::chrono::steady_clock::now();
    if (unsigned const count = blocks; count != blocksSeen) {
        blocksSeen = count;
        lastBlock = now;
    }
    if (Pa_IsStreamActive(stream) != 1) {
        note = "The sound device has gone; playing without sound.";
        return State::Lost;
    }
    bool const hasStalled = now - lastBlock >= patience;
    note = hasStalled ? "The sound device does not respond." : "";
    return hasStalled ? State::Stalled : State::Running;
}

void PortAudioDevice::Fulfil(short* buffer, int frames, PaStreamCallbackTimeInfo const& time)
{
    double const told = time.outputBufferDacTime - time.currentTime;
    double const seconds = told > 0.0 && told < 10.0 ? told : latency;
    auto const delay = static_cast<long long>(seconds * secondUs);
    if (converter)
        converter->Fill(buffer, frames, delay);
    else
        fill(buffer, frames, delay);
}

int PortAudioDevice::OnBlock(void const* /*input*/, void* output, unsigned long frames,
                             PaStreamCallbackTimeInfo const* time, unsigned long /*flags*/, void* device)
{
    auto& self = *static_cast<PortAudioDevice*>(device);
    self.Fulfil(static_cast<short*>(output), static_cast<int>(frames), *time);
    self.blocks.fetch_add(1, std::memory_order_relaxed);
    return paContinue;
}

} // namespace

std::unique_ptr<AudioDevice> AudioDevice::MakePortAudio()
{
    return std::make_unique<PortAudioDevice>();
}
