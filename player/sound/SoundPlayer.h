#pragma once

#include "player/sound/AudioDevice.h"

#include <QObject>

#include <memory>

class PlaybackEngine;
class QThread;
class SoundWorker;

// Lets the sound device play what the engine fills. Devices are opened and closed on a thread of their own, since that
// may take long or never end; the window's thread waits for nothing but a fill that is under way.
//
// All operations on the window's thread.
class SoundPlayer : public QObject
{
    Q_OBJECT

public:
    // The engine must outlive it.
    SoundPlayer(PlaybackEngine& engine, std::unique_ptr<AudioDevice> device, QObject* parent = nullptr);
    ~SoundPlayer() override;

    // Plays with the engine's present format. Only while that format cannot change: Stop comes before the next open.
    void Start(int sampleRate, int channels);

    void Stop(); // on return the engine is not asked any more

signals:
    void NoteChanged(QString const& note); // one sentence why there is no sound, empty when there is

private:
    struct Gate;

    std::shared_ptr<Gate> gate; // shared with the fill, which a device that hangs may keep for ever
    QThread* thread;
    SoundWorker* worker; // lives on `thread`
};
