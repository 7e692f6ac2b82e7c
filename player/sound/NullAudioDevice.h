#pragma once

#include "player/sound/AudioDevice.h"

// No sound on purpose: never asks for any, so that play follows the computer's clock.
class NullAudioDevice : public AudioDevice
{
public:
    bool Start(int sampleRate, int channels, Fill fill) override; // always true
    void Stop() override;
    bool IsRunning() override;
    QString GetNote() const override;

private:
    bool running = false;
};
