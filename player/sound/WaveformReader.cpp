#include "player/sound/WaveformReader.h"

#include "common/Microseconds.h"
#include "decode/DecodedAudioFrame.h"
#include "playback/PlaybackStatus.h"
#include "source/SoundStream.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr qint64 reportInterval = 250; // milliseconds

} // namespace

WaveformReader::WaveformReader(PlaybackStatus const& status, QObject* parent)
    : QThread(parent),
      info(status.soundInfo),
      streamIndex(status.soundStreams.value(status.soundStream).index),
      mediaStart(status.start + status.origin),
      duration(std::max(1LL, status.duration))
{
    qRegisterMetaType<QVector<quint8>>("QVector<quint8>"); // travels between threads
}

WaveformReader::~WaveformReader()
{
    Stop();
    wait();
}

void WaveformReader::Stop()
{
    stopped = true;
}

void WaveformReader::run()
{
    peaks.fill(0, peakCount);
    SoundStream sound(info, streamIndex);
    if (!sound.Open())
        return;
    sound.ReadThrough();
    QElapsedTimer sinceReport;
    sinceReport.start();
    SoundStream::Frame frame;
    while (sound.Read(frame, [this] { return stopped.load(); }) == ReadResult::Got) {
        Take(*frame);
        if (sinceReport.elapsed() < reportInterval)
            continue;
        emit PeaksRead(peaks);
        sinceReport.restart();
    }
    if (!stopped)
        emit PeaksRead(peaks);
}

void WaveformReader::Take(DecodedAudioFrame const& frame)
{
    if (frame.frameCount <= 0 || frame.sampleRate <= 0)
        return;
    int const channels = frame.sampleCapacity / frame.frameCount;
    for (int i = 0; i < frame.frameCount; ++i) {
        long long const time = frame.startTime - mediaStart + i * secondUs / frame.sampleRate;
        if (time < 0 || time >= duration)
            continue;
        auto& peak = peaks[static_cast<int>(static_cast<double>(time) * peakCount / static_cast<double>(duration))];
        for (int channel = 0; channel < channels; ++channel) {
            int const loudness = std::abs(static_cast<int>(frame.samples[i * channels + channel])) >> 7;
            peak = static_cast<quint8>(std::max<int>(peak, std::min(loudness, 255)));
        }
    }
}
