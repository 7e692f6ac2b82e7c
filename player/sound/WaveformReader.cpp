#include "player/sound/WaveformReader.h"

#include "decode/AudioDecoder.h"
#include "decode/DecodedAudioFrame.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr qint64 reportInterval = 250; // milliseconds

FfmpegPtr<AVCodecContext> OpenDecoder(AVStream const* stream)
{
    FfmpegPtr<AVCodecContext> context(avcodec_alloc_context3(nullptr));
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0)
        return nullptr;
    context->thread_count = 1;
    auto const* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    return codec && avcodec_open2(context.get(), codec, nullptr) >= 0 ? std::move(context) : nullptr;
}

// When the first picture is due, as the container says; a cover does not count.
long long StartOfPictures(AVFormatContext* format)
{
    int const index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0)
        return 0;
    AVStream const* stream = format->streams[index];
    if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 || stream->start_time == AV_NOPTS_VALUE)
        return 0;
    return av_rescale_q(stream->start_time, stream->time_base, AVRational{1, AV_TIME_BASE});
}

bool Initialize(AudioDecoder& decoder, AVCodecContext* context, AVRational timeBase)
{
    int const channels = FfmpegBridge::ChannelCount(context);
    uint64_t layout = FfmpegBridge::ChannelLayoutMask(context);
    if (layout == 0)
        layout = FfmpegBridge::DefaultChannelLayout(channels);
    return decoder.Initialize(context, timeBase, channels, static_cast<long long>(layout), context->sample_rate,
                              context->sample_fmt);
}

} // namespace

WaveformReader::WaveformReader(QString const& path, long long start, long long duration, QObject* parent)
    : QThread(parent), path(path), mediaStart(start), duration(std::max(1LL, duration))
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

int WaveformReader::IsStopped(void* reader)
{
    return static_cast<WaveformReader*>(reader)->stopped ? 1 : 0;
}

void WaveformReader::run()
{
    peaks.fill(0, peakCount);
    AVFormatContext* opened = avformat_alloc_context();
    if (!opened)
        return;
    opened->interrupt_callback = {&WaveformReader::IsStopped, this};
    if (avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr) < 0)
        return; // which has freed the context
    FfmpegPtr<AVFormatContext> const format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0)
        return;
    int const streamIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (streamIndex < 0)
        return;
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (static_cast<int>(i) != streamIndex)
            format->streams[i]->discard = AVDISCARD_ALL;
    origin = StartOfPictures(format.get());
    ReadPackets(format.get(), streamIndex);
    if (!stopped)
        emit PeaksRead(peaks);
}

void WaveformReader::ReadPackets(AVFormatContext* format, int streamIndex)
{
    AVStream const* stream = format->streams[streamIndex];
    FfmpegPtr<AVCodecContext> const context = OpenDecoder(stream);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    AudioDecoder decoder;
    if (!context || !packet || !Initialize(decoder, context.get(), stream->time_base))
        return;
    QElapsedTimer sinceReport;
    sinceReport.start();
    while (!stopped && av_read_frame(format, packet.get()) >= 0) {
        QList<std::shared_ptr<DecodedAudioFrame>> frames;
        if (packet->stream_index == streamIndex && packet->size > 0)
            decoder.DecodePacket(packet.get(), frames);
        av_packet_unref(packet.get());
        for (auto const& frame : frames)
            Take(*frame);
        if (sinceReport.elapsed() < reportInterval)
            continue;
        emit PeaksRead(peaks);
        sinceReport.restart();
    }
}

void WaveformReader::Take(DecodedAudioFrame const& frame)
{
    if (frame.frameCount <= 0 || frame.sampleRate <= 0)
        return;
    int const channels = frame.sampleCapacity / frame.frameCount;
    for (int i = 0; i < frame.frameCount; ++i) {
        long long const time = frame.startTime - origin - mediaStart + i * 1000000LL / frame.sampleRate;
        if (time < 0 || time >= duration)
            continue;
        auto& peak = peaks[static_cast<int>(static_cast<double>(time) * peakCount / static_cast<double>(duration))];
        for (int channel = 0; channel < channels; ++channel) {
            int const loudness = std::abs(static_cast<int>(frame.samples[i * channels + channel])) >> 7;
            peak = static_cast<quint8>(std::max<int>(peak, std::min(loudness, 255)));
        }
    }
}
