#pragma once

#include "player/sound/AudioDevice.h"

#include <QObject>

#include <memory>

class PlaybackEngine;
class QThread;
class SoundWorker;

// Connects the sound device to the engine's fill. Opens and closes devices on its own thread, because that can take
// long or hang; the window's thread waits only for a fill in progress.
//
// All operations on the window's thread.
class SoundPlayer : public QObject
{
    Q_OBJECT

public:
    // The engine must outlive it.
    SoundPlayer(PlaybackEngine& engine, std::unique_ptr<AudioDevice> device, QObject* parent = nullptr);
    ~SoundPlayer() override;

    // Plays in the engine's current format, from now on or as soon as there is a device: one that is absent or lost is
    // tried again every two seconds. Call Stop before the engine opens another file.
    void Start(int sampleRate, int channels);

    void Reopen(); // tries at once, if the device is absent or lost; for when the user plays

    void Stop(); // the engine is not called after the return

signals:
    void NoteChanged(QString const& note); // one sentence why there is no sound, empty when there is

private:
    struct Gate;

    std::shared_ptr<Gate> gate; // shared with the fill, which a hanging device may keep forever
    QThread* thread;
    SoundWorker* worker; // lives on `thread`
};
