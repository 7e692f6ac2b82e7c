#include "player/sound/SoundWorker.h"

#include <QTimer>

namespace {

constexpr int watchInterval = 300; // milliseconds between two looks at whether the device is still there

} // namespace

SoundWorker::SoundWorker(std::unique_ptr<AudioDevice> device) : device(std::move(device)), watch(new QTimer(this))
{
    watch->setInterval(watchInterval);
    connect(watch, &QTimer::timeout, this, &SoundWorker::Watch);
}

SoundWorker::~SoundWorker() = default;

void SoundWorker::Start(int sampleRate, int channels, AudioDevice::Fill fill)
{
    bool const started = device->Start(sampleRate, channels, std::move(fill));
    emit NoteChanged(device->GetNote());
    if (started)
        watch->start();
}

void SoundWorker::Stop()
{
    watch->stop();
    device->Stop();
}

// A device that has gone leaves play to the computer's clock; the next file tries it again.
void SoundWorker::Watch()
{
    if (device->IsRunning())
        return;
    emit NoteChanged(device->GetNote()); // first: a driver whose device has gone may never come back from closing it
    Stop();
}
