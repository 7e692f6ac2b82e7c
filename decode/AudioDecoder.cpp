#include "decode/AudioDecoder.h"

#include "common/Microseconds.h"
#include "decode/CodecStep.h"
#include "decode/DecodedAudioFrame.h"
#include "media/AvGlobals.h"
#include "media/FfmpegBridge.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

namespace {

short FromUnsigned8(uint8_t const* source)
{
    return static_cast<short>(static_cast<uint16_t>(*source << 8 ^ 0x8000));
}

short FromSigned16(uint8_t const* source)
{
    short sample;
    std::memcpy(&sample, source, sizeof sample);
    return sample;
}

// Every four-byte format is read as float, even 32-bit integers, and values beyond 1.0 wrap instead of being clamped.
short FromFloat(uint8_t const* source)
{
    float sample;
    std::memcpy(&sample, source, sizeof sample);
    float const scaled = sample * 32767.0f;
    constexpr float multiplesOf65536Beyond = 1099511627776.0f; // 2^40: from here on the low 16 bits are 0
    if (!(std::fabs(scaled) < multiplesOf65536Beyond))
        return 0;
    return static_cast<short>(static_cast<uint16_t>(static_cast<int64_t>(scaled)));
}

using SampleConversion = short (*)(uint8_t const*);

SampleConversion ConversionFor(int bytesPerSample)
{
    switch (bytesPerSample) {
    case 1:
        return FromUnsigned8;
    case 2:
        return FromSigned16;
    case 4:
        return FromFloat;
    default:
        return nullptr;
    }
}

} // namespace

AudioDecoder::AudioDecoder() = default;

AudioDecoder::~AudioDecoder() = default;

bool AudioDecoder::Initialize(AVCodecContext* newCodecContext, AVRational const& newTimeBase, int channels,
                              long long channelLayout, int newSampleRate, int newSampleFormat)
{
    if (!newCodecContext)
        return false;
    codecContext = newCodecContext;
    frame.reset(av_frame_alloc());
    resampler.reset(swr_alloc());
    resamplerReady = false;
    timeBase = MicrosecondsPerTick(newTimeBase);
    sampleFormat = newSampleFormat;
    sampleRate = newSampleRate;

    auto const inputLayout = static_cast<uint64_t>(channelLayout);
    bool const limited = AvGlobals::maxAudioOutputChannels < channels;
    uint64_t const outputLayout =
        limited ? FfmpegBridge::DefaultChannelLayout(AvGlobals::maxAudioOutputChannels) : inputLayout;
    outputChannels = std::max(limited ? AvGlobals::maxAudioOutputChannels : channels, 0);
    resamplerChannels = FfmpegBridge::ChannelsInLayout(inputLayout);
    resampledChannels = FfmpegBridge::ChannelsInLayout(outputLayout);
    if (!resampler)
        return true;
    FfmpegBridge::SetResamplerInputLayout(resampler.get(), inputLayout);
    FfmpegBridge::SetResamplerOutputLayout(resampler.get(), outputLayout);
    av_opt_set_int(resampler.get(), "in_sample_rate", sampleRate, 0);
    av_opt_set_int(resampler.get(), "out_sample_rate", sampleRate, 0);
    av_opt_set_sample_fmt(resampler.get(), "in_sample_fmt", static_cast<AVSampleFormat>(sampleFormat), 0);
    av_opt_set_sample_fmt(resampler.get(), "out_sample_fmt", AV_SAMPLE_FMT_S16, 0);
    SetUpResampler(resamplerChannels);
    return true;
}

// Initialises the resampler with its current options. It is usable only if it reads the frames' channels and writes as
// many channels as the records have.
void AudioDecoder::SetUpResampler(int inputChannels)
{
    resamplerReady =
        swr_init(resampler.get()) >= 0 && resamplerChannels == inputChannels && resampledChannels == outputChannels;
}

void AudioDecoder::DecodePacket(AVPacket* packet, QList<std::shared_ptr<DecodedAudioFrame>>& frames)
{
    if (!packet || !codecContext || !frame)
        return;
    double start = packet->pts == AV_NOPTS_VALUE
                       ? 0.0
                       : static_cast<double>(TruncatedTime(static_cast<double>(packet->pts) * timeBase));
    auto const appendRecord = [&] {
        if (auto record = MakeRecord(start))
            frames.append(std::move(record));
        start = NextStart(start);
    };

    if (avcodec_send_packet(codecContext, packet) >= 0) {
        int received = FfmpegBridge::ReceiveFrame(codecContext, frame.get());
        for (; received >= 0; received = FfmpegBridge::ReceiveFrame(codecContext, frame.get()))
            appendRecord();
        if (received == AVERROR_EOF)
            return;
    }
    if (!IsEmptyPacket(*packet))
        return;
    avcodec_send_packet(codecContext, nullptr);
    while (DrainFrame())
        appendRecord();
}

// Receives the next frame while draining, ignoring errors; false when there is none.
bool AudioDecoder::DrainFrame()
{
    for (int fruitless = 0; fruitless < mostFruitlessReceives; ++fruitless) {
        int const received = FfmpegBridge::ReceiveFrame(codecContext, frame.get());
        if (received >= 0)
            return true;
        if (received == AVERROR_EOF)
            return false;
    }
    return false;
}

// Makes the record of the frame just received; null when out of memory.
std::shared_ptr<DecodedAudioFrame> AudioDecoder::MakeRecord(double start)
{
    long long const values = static_cast<long long>(frame->nb_samples) * outputChannels;
    if (values < 0 || values > std::numeric_limits<int>::max())
        return nullptr;
    auto record = std::make_shared<DecodedAudioFrame>();
    record->samples = new (std::nothrow) short[static_cast<size_t>(values)]();
    if (!record->samples)
        return nullptr;
    record->sampleCount = static_cast<int>(values);
    record->sampleCapacity = static_cast<int>(values);
    record->sampleRate = sampleRate;
    record->frameCount = frame->nb_samples;
    record->startTime = TruncatedTime(start);
    record->endTime =
        TruncatedTime(static_cast<double>(record->startTime) +
                      static_cast<double>(frame->nb_samples) / codecContext->sample_rate * secondUs - 1.0);

    FollowInputFormat();
    if (resamplerReady) {
        auto* target = reinterpret_cast<uint8_t*>(record->samples);
        swr_convert(resampler.get(), &target, frame->nb_samples, const_cast<uint8_t const**>(frame->extended_data),
                    frame->nb_samples);
    } else {
        ConvertSampleBySample(record->samples);
    }
    return record;
}

// The step is the first plane's bytes divided by the bytes of one second, which equals the frame's duration only for
// packed 16-bit input. Packets with several frames of other formats are rare, so their times stay as they have always
// been.
double AudioDecoder::NextStart(double start) const
{
    auto const bytesPerSecond = static_cast<int32_t>(static_cast<uint32_t>(FfmpegBridge::ChannelCount(codecContext)) *
                                                     static_cast<uint32_t>(codecContext->sample_rate) * 2u);
    return start + static_cast<double>(frame->linesize[0]) / bytesPerSecond * secondUs;
}

// Reconfigures the resampler when the stream changes its sample format or channels. The output format stays.
void AudioDecoder::FollowInputFormat()
{
    int const frameChannels = FfmpegBridge::ChannelCount(frame.get());
    bool const channelsChanged = frameChannels != resamplerChannels;
    if (!resampler || (frame->format == sampleFormat && !(resamplerReady && channelsChanged)))
        return;
    if (channelsChanged) {
        uint64_t const mask = FfmpegBridge::ChannelLayoutMask(frame.get());
        uint64_t const layout = mask != 0 ? mask : FfmpegBridge::DefaultChannelLayout(frameChannels);
        FfmpegBridge::SetResamplerInputLayout(resampler.get(), layout);
        resamplerChannels = FfmpegBridge::ChannelsInLayout(layout);
    }
    sampleFormat = frame->format;
    av_opt_set_sample_fmt(resampler.get(), "in_sample_fmt", static_cast<AVSampleFormat>(sampleFormat), 0);
    SetUpResampler(frameChannels);
}

// Conversion without a resampler: takes the first channels of each sample in order.
void AudioDecoder::ConvertSampleBySample(short* samples) const
{
    auto const format = static_cast<AVSampleFormat>(frame->format);
    int const bytes = av_get_bytes_per_sample(format);
    auto const convert = ConversionFor(bytes);
    if (!convert)
        return; // silence
    bool const isPlanar = av_sample_fmt_is_planar(format) != 0;
    int const frameChannels = FfmpegBridge::ChannelCount(frame.get());
    int const usedChannels = std::min(frameChannels, outputChannels);
    for (int channel = 0; channel < usedChannels; ++channel) {
        uint8_t const* source =
            isPlanar ? frame->extended_data[channel] : frame->extended_data[0] + static_cast<size_t>(channel) * bytes;
        size_t const step = isPlanar ? static_cast<size_t>(bytes) : static_cast<size_t>(bytes) * frameChannels;
        short* target = samples + channel;
        for (int i = 0; i < frame->nb_samples; ++i) {
            *target = convert(source);
            source += step;
            target += outputChannels;
        }
    }
}

int AudioDecoder::DecodeInternal(AVPacket* packet, bool& gotFrame, bool& endOfStream)
{
    return TakeCodecStep(codecContext, packet, frame.get(), gotFrame, endOfStream);
}

void AudioDecoder::Shutdown()
{
    codecContext = nullptr;
    frame.reset();
    resampler.reset();
}
