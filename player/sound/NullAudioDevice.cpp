#include "player/sound/NullAudioDevice.h"

bool NullAudioDevice::Start(int /*sampleRate*/, int /*channels*/, Fill /*fill*/)
{
    running = true;
    return true;
}

void NullAudioDevice::Stop()
{
    running = false;
}

bool NullAudioDevice::IsRunning()
{
    return running;
}

QString NullAudioDevice::GetNote() const
{
    return {};
}
