#include "common/Microseconds.h"
#include "player/sound/AudioDevice.h"

#include "common/WavHeader.h"
#include "player/sound/RateConverter.h"

#include <QFile>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

constexpr int blocksPerSecond = 100;
constexpr qint64 maxFileBytes = 0xFFFFFFFFLL - 1024 * 1024; // with room for a last block

// Writes the sound to a 16-bit WAV file in real time. The first start sets the file's format; later formats are
// converted. The file is complete after each Stop and after destruction. It takes at most 4 GiB, the format's limit.
class WavAudioDevice : public AudioDevice
{
public:
    explicit WavAudioDevice(QString const& path);
    ~WavAudioDevice() override;

    bool Start(int sampleRate, int channels, Fill fill) override;
    void Stop() override;
    State GetState() override;
    QString GetNote() const override { return note; }

private:
    bool OpenFile(RateConverter::Format newFormat);
    void Run();
    bool WriteBlock();
    bool WriteHeader();

    QFile file;
    RateConverter::Format format{0, 0}; // of the file
    Fill fill;
    std::unique_ptr<RateConverter> converter; // null if the sound has the file's format
    std::vector<short> block;
    std::thread thread;
    std::atomic<bool> stopping{false};
    std::atomic<bool> failed{false}; // a write failed, or the file is full
    QString note;
};

WavAudioDevice::WavAudioDevice(QString const& path) : file(path) {}

WavAudioDevice::~WavAudioDevice()
{
    WavAudioDevice::Stop();
}

bool WavAudioDevice::Start(int sampleRate, int channels, Fill newFill)
{
    Stop();
    if (failed || (!file.isOpen() && !OpenFile({sampleRate, channels})))
        return false;
    note.clear();
    fill = std::move(newFill);
    if (sampleRate != format.sampleRate || channels != format.channels)
        converter = RateConverter::Make(fill, {sampleRate, channels}, format);
    stopping = false;
    thread = std::thread(&WavAudioDevice::Run, this);
    return true;
}

bool WavAudioDevice::OpenFile(RateConverter::Format newFormat)
{
    format = newFormat;
    block.resize(static_cast<size_t>(format.sampleRate / blocksPerSecond) * static_cast<size_t>(format.channels));
    if (!file.open(QIODevice::WriteOnly) || !WriteHeader()) {
        note = QString("The sound cannot be written to %1 (%2); playing without sound.")
                   .arg(file.fileName(), file.errorString());
        file.close();
        return false;
    }
    return true;
}

void WavAudioDevice::Stop()
{
    if (!thread.joinable())
        return;
    stopping = true;
    thread.join();
    converter.reset();
    WriteHeader();
}

AudioDevice::State WavAudioDevice::GetState()
{
    if (failed)
        note = QString("The file %1 takes no more sound.").arg(file.fileName());
    return thread.joinable() && !failed ? State::Running : State::Lost;
}

void WavAudioDevice::Run()
{
    auto next = std::chrono::steady_clock::now();
    while (!stopping && !failed) {
        if (!WriteBlock())
            failed = true;
        next += std::chrono::microseconds(secondUs / blocksPerSecond);
        std::this_thread::sleep_until(next);
    }
}

bool WavAudioDevice::WriteBlock()
{
    if (file.size() > maxFileBytes)
        return false;
    int const frames = format.sampleRate / blocksPerSecond;
    if (converter)
        converter->Fill(block.data(), frames, 0);
    else
        fill(block.data(), frames, 0);
    auto const bytes = static_cast<qint64>(block.size()) * static_cast<qint64>(sizeof(short));
    return file.write(reinterpret_cast<char const*>(block.data()), bytes) == bytes;
}

bool WavAudioDevice::WriteHeader()
{
    auto const dataBytes = static_cast<unsigned>(std::max<qint64>(0, file.size() - wavHeaderBytes));
    QByteArray const header = WavHeader(format.channels, format.sampleRate, dataBytes);
    bool const written = file.seek(0) && file.write(header) == wavHeaderBytes && file.flush();
    return written && file.seek(file.size());
}

} // namespace

std::unique_ptr<AudioDevice> AudioDevice::MakeWav(QString const& path)
{
    return std::make_unique<WavAudioDevice>(path);
}
