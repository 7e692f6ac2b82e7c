#pragma once

#include "TavolinAVExport.h"
#include "media/FfmpegPtr.h"

#include <QList>

#include <memory>

struct AVRational;
struct DecodedAudioFrame;

// Turns the packets of one audio stream into DecodedAudioFrame records: interleaved signed 16-bit samples at the
// stream's own rate, with AvGlobals::maxAudioOutputChannels channels at most, times in container microseconds. Logs
// nothing. One thread at a time. A decoder that is not initialised does nothing.
class TAVOLINAV_EXPORT AudioDecoder
{
public:
    AudioDecoder();  // not initialised
    ~AudioDecoder(); // as Shutdown
    AudioDecoder(AudioDecoder const&) = delete;
    AudioDecoder& operator=(AudioDecoder const&) = delete;

    // `codecContext` is opened, stays the caller's and must outlive the use; `channelLayout` is FFmpeg's channel mask,
    // `sampleFormat` its AVSampleFormat. False only for a null context, which changes nothing: where no resampler can
    // be set up, samples are converted one by one and channels beyond the bound are dropped.
    bool Initialize(AVCodecContext* codecContext, AVRational const& timeBase, int channels, long long channelLayout,
                    int sampleRate, int sampleFormat);

    // Appends every record that `packet` completes; an empty packet (no data, no size) drains the decoder, whose last
    // frames are then stamped from 0, as such a packet bears no time.
    void DecodePacket(AVPacket* packet, QList<std::shared_ptr<DecodedAudioFrame>>& frames);

    // One step of FFmpeg's interface: sends `packet` unless null, receives into the decoder's own frame. 0 or the
    // negative FFmpeg code of a failure; `endOfStream` is never cleared.
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
    int resamplerChannels = 0; // that the resampler takes
    int resampledChannels = 0; // that it gives
    int outputChannels = 0;    // that the records hold
    int sampleFormat = -1;     // AVSampleFormat that the resampler takes
    int sampleRate = 0;        // Hz, before and after
};
