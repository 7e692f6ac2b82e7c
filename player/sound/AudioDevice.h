#pragma once

#include <QString>

#include <functional>
#include <memory>

// A sound output. Start, Stop and the queries are called on one thread; the device calls the fill on its own thread.
class AudioDevice
{
public:
    enum class State {
        Running, // calls the fill
        Stalled, // is open but has not called for two seconds: suspended, or its server is busy; it goes on by itself
        Lost,    // is not open, or no more: only another Start brings it back
    };

    // Writes `frames` frames of interleaved samples, silence included; the first is heard `delay` microseconds later.
    // Never waits.
    using Fill = std::function<void(short* buffer, int frames, long long delay)>;

    // "portaudio", "null", or "wav:PATH", as on the command line. A null pointer for any other name.
    static std::unique_ptr<AudioDevice> Make(QString const& name);

    virtual ~AudioDevice();

    // Starts calling `fill` at this rate (Hz) and number of channels, and converts if the device needs another format.
    // Returns false without a usable device; GetNote says why. Stops a previous start.
    virtual bool Start(int sampleRate, int channels, Fill fill) = 0;

    virtual void Stop() = 0; // the fill is not called after the return

    virtual State GetState() = 0;        // as of now
    virtual QString GetNote() const = 0; // one sentence why there is no sound; empty if there is, or should not be

private:
    static std::unique_ptr<AudioDevice> MakePortAudio();
    static std::unique_ptr<AudioDevice> MakeWav(QString const& path);
};
