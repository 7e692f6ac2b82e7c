#pragma once

#include <QString>

#include <functional>
#include <memory>

// Where sound goes. Start, Stop and the queries come from one thread; the fill is called on a thread of the device.
class AudioDevice
{
public:
    // Writes `frames` frames of interleaved samples; the first is heard `delay` microseconds later. Writes silence
    // where there is no sound, never waits.
    using Fill = std::function<void(short* buffer, int frames, long long delay)>;

    // As named on the command line: "portaudio", "null", or "wav:PATH". Null for any other name.
    static std::unique_ptr<AudioDevice> Make(QString const& name);

    virtual ~AudioDevice();

    // Begins to ask `fill` for sound at this rate (Hz) with so many channels, and converts it where the device wants
    // something else. False when there is no device to play on: GetNote tells why. Stops what ran before.
    virtual bool Start(int sampleRate, int channels, Fill fill) = 0;

    virtual void Stop() = 0; // on return the fill is not called any more

    // Whether the device asks for sound; false also once it has vanished while playing.
    virtual bool IsRunning() = 0;

    virtual QString GetNote() const = 0; // one sentence when there is no sound though there should be; else empty

private:
    static std::unique_ptr<AudioDevice> MakePortAudio();
    static std::unique_ptr<AudioDevice> MakeWav(QString const& path);
};
