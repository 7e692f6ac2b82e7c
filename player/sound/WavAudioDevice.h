#pragma once

#include "player/sound/AudioDevice.h"
#include "player/sound/RateConverter.h"

#include <QFile>

#include <atomic>
#include <thread>
#include <vector>

// Writes the sound into a 16-bit WAV file, at the pace at which a device would play it. The file takes the format of
// the first start; what comes later in another one is converted to it. The file is complete after each Stop and when
// the device dies; at 4 GiB, where the format ends, it takes no more.
class WavAudioDevice : public AudioDevice
{
public:
    explicit WavAudioDevice(QString const& path);
    ~WavAudioDevice() override;

    bool Start(int sampleRate, int channels, Fill fill) override;
    void Stop() override;
    bool IsRunning() override;
    QString GetNote() const override;

private:
    bool OpenFile(RateConverter::Format newFormat);
    void Run();
    bool WriteBlock();
    bool WriteHeader();

    QFile file;
    RateConverter::Format format{0, 0}; // of the file
    Fill fill;
    std::unique_ptr<RateConverter> converter; // null where the sound has the file's format
    std::vector<short> block;
    std::thread thread;
    std::atomic<bool> stopping{false};
    std::atomic<bool> failed{false}; // the file takes no more
    QString note;
};
