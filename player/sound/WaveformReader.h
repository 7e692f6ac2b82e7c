#pragma once

#include <QThread>
#include <QVector>

#include <atomic>
#include <memory>

class MediaInfo;
struct DecodedAudioFrame;
struct PlaybackStatus;

// Reads how loud a file's sound is from its start to its end, on an idle thread of its own with a demultiplexer and
// decoder of its own, so that play is not held up. Pictures are not decoded.
class WaveformReader : public QThread
{
    Q_OBJECT

public:
    static constexpr int peakCount = 2048;

    // Of the sound of what is open; the peaks reach from the start of the media over its duration.
    explicit WaveformReader(PlaybackStatus const& status, QObject* parent = nullptr);
    ~WaveformReader() override; // stops and waits, for as long as a read takes to notice

    void Stop(); // no more signals after the one that may be on its way; any thread

signals:
    // The loudest sample of each of the equal stretches, 0 to 255; 0 where nothing has been read yet. Comes several
    // times while the file is read, and at its end.
    void PeaksRead(QVector<quint8> const& peaks);

protected:
    void run() override;

private:
    void Take(DecodedAudioFrame const& frame);

    std::shared_ptr<MediaInfo> const info;
    int const streamIndex;      // in the container
    long long const mediaStart; // of the peaks, container time, microseconds
    long long const duration;
    std::atomic<bool> stopped{false};
    QVector<quint8> peaks;
};
