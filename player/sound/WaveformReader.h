#pragma once

#include <QThread>
#include <QVector>

#include <atomic>

struct AVCodecContext;
struct AVFormatContext;
struct DecodedAudioFrame;

// Reads how loud a file's sound is from its start to its end, on an idle thread of its own with a demultiplexer and
// decoder of its own, so that play is not held up. Pictures are not decoded.
class WaveformReader : public QThread
{
    Q_OBJECT

public:
    static constexpr int peakCount = 2048;

    // Microseconds of media time: where the first of the peaks begins, and how long all of them last.
    WaveformReader(QString const& path, long long start, long long duration, QObject* parent = nullptr);
    ~WaveformReader() override; // stops and waits, for as long as a read takes to notice

    void Stop(); // no more signals after the one that may be on its way; any thread

signals:
    // The loudest sample of each of the equal stretches, 0 to 255; 0 where nothing has been read yet. Comes several
    // times while the file is read, and at its end.
    void PeaksRead(QVector<quint8> const& peaks);

protected:
    void run() override;

private:
    void ReadPackets(AVFormatContext* format, int streamIndex);
    void Take(DecodedAudioFrame const& frame);
    static int IsStopped(void* reader);

    QString const path;
    long long const mediaStart;
    long long const duration;
    long long origin = 0; // the container's time at media time 0
    std::atomic<bool> stopped{false};
    QVector<quint8> peaks;
};
