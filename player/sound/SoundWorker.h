#pragma once

#include "player/sound/AudioDevice.h"

#include <QObject>

#include <memory>

class QTimer;

// Holds the sound device on a thread that may wait for it, and looks after it while it plays. Once that thread runs,
// everything here belongs to it.
class SoundWorker : public QObject
{
    Q_OBJECT

public:
    explicit SoundWorker(std::unique_ptr<AudioDevice> device);
    ~SoundWorker() override;

    void Start(int sampleRate, int channels, AudioDevice::Fill fill);
    void Stop();

signals:
    void NoteChanged(QString const& note);

private:
    void Watch();

    std::unique_ptr<AudioDevice> device;
    QTimer* watch;
};
