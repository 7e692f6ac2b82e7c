#pragma once

#include "player/sound/AudioDevice.h"
#include "player/sound/RateConverter.h"

#include <atomic>
#include <chrono>

struct PaStreamCallbackTimeInfo;

// The computer's default sound output. Asking the system for its devices can take a second, so the thread that starts
// it should not be the window's.
class PortAudioDevice : public AudioDevice
{
public:
    ~PortAudioDevice() override;

    bool Start(int sampleRate, int channels, Fill fill) override;
    void Stop() override;
    bool IsRunning() override;
    QString GetNote() const override;

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
    double latency = 0.0;                     // seconds, where the device does not say when a block is heard
    QString note;

    std::atomic<unsigned> blocks{0}; // asked for so far
    unsigned blocksSeen = 0;
    std::chrono::steady_clock::time_point lastBlock; // when `blocks` was last seen to grow
};
