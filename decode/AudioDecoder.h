#pragma once

#include "TavolinAVExport.h"
#include "media/FfmpegPtr.h"

#include <QList>

#include <memory>

struct AVRational;
struct DecodedAudioFrame;

// Decodes the packets of one audio stream into DecodedAudioFrame records: interleaved signed 16-bit samples at the
// stream's own rate, with at most AvGlobals::maxAudioOutputChannels channels; times are container microseconds. Logs
// nothing. One thread at a time. A decoder that is not initialised does nothing.
class TAVOLINAV_EXPORT AudioDecoder
{
public:
    AudioDecoder();  // not initialised
    ~AudioDecoder(); // as Shutdown
    AudioDecoder(AudioDecoder const&) = delete;
    AudioDecoder& operator=(AudioDecoder const&) = delete;

    // `codecContext` must be open; it stays the caller's and must outlive the decoder's use of it. `channelLayout` is
    // FFmpeg's channel mask, `sampleFormat` its AVSampleFormat. Returns false only for a null context, and then changes
    // nothing: without a usable resampler, samples are converted one by one and channels beyond the maximum are
    // dropped.
    bool Initialize(AVCodecContext* codecContext, AVRational const& timeBase, int channels, long long channelLayout,
                    int sampleRate, int sampleFormat);

    // Appends every record that `packet` completes. An empty packet (no data, no size) drains the decoder; as it has no
    // time, the drained frames are stamped from 0.
    void DecodePacket(AVPacket* packet, QList<std::shared_ptr<DecodedAudioFrame>>& frames);

    // Sends `packet` unless null, then receives one frame into the decoder's own frame. Returns 0 or the negative
    // FFmpeg error code. Sets `gotFrame`; sets `endOfStream` at the end and never clears it.
    int DecodeInternal(AVPacket* packet, bool& gotFrame, bool& endOfStream);

    void Shutdown(); // can be initialised again

private:
    bool DrainFrame();
    std::shared_ptr<DecodedAudioFrame> MakeRecord(double start);
    double NextStart(double start) const;
    void SetUpResampler(int inputChannels);
    void FollowInputFormat();
    void ConvertSampleBySample(short* samples) const;

    AVCodecContext* codecContext = nullptr; // not owned
    FfmpegPtr<AVFrame> frame;
    FfmpegPtr<SwrContext> resampler;
    bool resamplerReady = false;
    double timeBase = 0.0;     // microseconds per tick
    int resamplerChannels = 0; // resampler input
    int resampledChannels = 0; // resampler output
    int outputChannels = 0;    // of the records
    int sampleFormat = -1;     // AVSampleFormat of the resampler input
    int sampleRate = 0;        // Hz, input and output
};
