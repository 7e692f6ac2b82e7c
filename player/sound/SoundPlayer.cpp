#include "player/sound/SoundPlayer.h"

#include "playback/PlaybackEngine.h"

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>

namespace {

constexpr unsigned long farewell = 2000; // milliseconds that a device gets to close with the window
constexpr int watchInterval = 300;       // milliseconds between two looks at whether the device is still there
constexpr int retryInterval = 2000;      // milliseconds between two tries to open a device that was lost or absent

} // namespace

// Owns the sound device, on a thread that may wait for it, and watches it: says when it stalls, and opens a lost one
// again. Used only on that thread once it runs.
class SoundWorker : public QObject
{
    Q_OBJECT

public:
    explicit SoundWorker(std::unique_ptr<AudioDevice> newDevice) : device(std::move(newDevice)), watch(new QTimer(this))
    {
        watch->setInterval(watchInterval);
        connect(watch, &QTimer::timeout, this, &SoundWorker::Watch);
    }

    void Start(int newSampleRate, int newChannels, AudioDevice::Fill newFill)
    {
        sampleRate = newSampleRate;
        channels = newChannels;
        fill = std::move(newFill);
        Open();
        watch->start();
    }

    void Stop()
    {
        watch->stop();
        device->Stop();
        isOpen = false;
    }

    void Reopen()
    {
        if (watch->isActive() && !isOpen)
            Open();
    }

signals:
    void NoteChanged(QString const& note);

private:
    void Open()
    {
        isOpen = device->Start(sampleRate, channels, fill);
        sinceTry.start();
        Tell();
    }

    // Without its device, play follows the computer's clock.
    void Watch()
    {
        if (!isOpen) {
            if (sinceTry.hasExpired(retryInterval))
                Open();
            return;
        }
        isOpen = device->GetState() != AudioDevice::State::Lost;
        Tell(); // first: closing a device that has gone may hang in its driver
        if (isOpen)
            return;
        device->Stop();
        sinceTry.start();
    }

    void Tell()
    {
        if (device->GetNote() == note)
            return;
        note = device->GetNote();
        emit NoteChanged(note);
    }

    std::unique_ptr<AudioDevice> device;
    QTimer* watch; // runs from Start to Stop
    int sampleRate = 0;
    int channels = 0;
    AudioDevice::Fill fill;
    bool isOpen = false;
    QElapsedTimer sinceTry; // to open the device
    QString note;           // told last
};

// Between a device's thread and the engine. Close waits for a fill in progress, which takes microseconds.
struct SoundPlayer::Gate
{
    explicit Gate(PlaybackEngine& engine) : engine(engine) {}

    void Open(int newGeneration) { generation = newGeneration; }

    void Close()
    {
        generation = 0;
        while (filling)
            QThread::yieldCurrentThread();
    }

    void Fill(int askedGeneration, short* buffer, int frames, int channels, long long delay)
    {
        filling = true; // before reading the generation: either Close sees this, or this sees the closed gate
        int const filled = generation == askedGeneration ? engine.FillAudio(buffer, frames, delay) : 0;
        filling = false;
        if (filled < frames)
            std::fill_n(buffer + static_cast<ptrdiff_t>(filled) * channels,
                        static_cast<ptrdiff_t>(frames - filled) * channels, short{0});
    }

    PlaybackEngine& engine;
    std::atomic<int> generation{0}; // of the start whose fill may pass; 0: none
    std::atomic<bool> filling{false};
};

SoundPlayer::SoundPlayer(PlaybackEngine& engine, std::unique_ptr<AudioDevice> device, QObject* parent)
    : QObject(parent),
      gate(std::make_shared<Gate>(engine)),
      thread(new QThread),
      worker(new SoundWorker(std::move(device)))
{
    worker->moveToThread(thread);
    connect(worker, &SoundWorker::NoteChanged, this, &SoundPlayer::NoteChanged);
    connect(thread, &QThread::finished, worker, &QObject::deleteLater);
    thread->start();
}

SoundPlayer::~SoundPlayer()
{
    Stop();
    thread->quit();
    if (thread->wait(farewell))
        delete thread; // else the device hangs in its driver, and the thread is leaked
}

void SoundPlayer::Start(int sampleRate, int channels)
{
    static std::atomic<int> starts{0};
    int const generation = ++starts;
    gate->Open(generation);
    auto fill = [gate = gate, generation, channels](short* buffer, int frames, long long delay) {
        gate->Fill(generation, buffer, frames, channels, delay);
    };
    QMetaObject::invokeMethod(
        worker, [worker = worker, sampleRate, channels, fill] { worker->Start(sampleRate, channels, fill); });
}

void SoundPlayer::Reopen()
{
    QMetaObject::invokeMethod(worker, [worker = worker] { worker->Reopen(); });
}

void SoundPlayer::Stop()
{
    gate->Close();
    QMetaObject::invokeMethod(worker, [worker = worker] { worker->Stop(); });
}

#include "SoundPlayer.moc"
