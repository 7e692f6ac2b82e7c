#include "decode/MediaInstance.h"

#include "common/Logger.h"
#include "common/Microseconds.h"
#include "decode/AudioDecoder.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/VideoDecoder.h"
#include "decode/colour/PictureColours.h"
#include "media/AvGlobals.h"
#include "media/FfmpegBridge.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <QByteArray>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <limits>
#include <utility>

namespace {

struct MissingStreamMessages
{
    char const* decoderNotFound;
    char const* streamNotFound;
    char const* otherwise; // with %1 for the error code
};

constexpr MissingStreamMessages missingAudio = {"Failed to find audio stream (Decoder not found)",
                                                "Failed to find audio stream (Stream not found)",
                                                "Failed to find audio stream index: %1"};
constexpr MissingStreamMessages missingVideo = {"Failed to find video stream (Decoder not found)",
                                                "Failed to find video stream (Stream not found)",
                                                "Failed to find video stream index: %1"};

void LogMissingStream(MissingStreamMessages const& messages, int code)
{
    Logger& logger = Logger::GetInstance();
    if (code == AVERROR_DECODER_NOT_FOUND)
        logger.Error(messages.decoderNotFound);
    else if (code == AVERROR_STREAM_NOT_FOUND)
        logger.Error(messages.streamNotFound);
    else
        logger.Error(QString::fromLatin1(messages.otherwise).arg(code));
}

int BoundedChannels(int channels)
{
    return std::min(channels, AvGlobals::maxAudioOutputChannels);
}

int RotationOf(VideoStream const& stream)
{
    bool isNumber = false;
    int const rotation = stream.metadata.value(QStringLiteral("rotate")).toInt(&isNumber, 10);
    return isNumber ? rotation : 0;
}

// FFmpeg's decoder of VP3 and Theora reads rows of a reference picture before another thread has finished them: its
// pictures depend on the number of threads and differ from run to run.
bool HasExactFrameThreads(AVCodecID codec)
{
    return codec != AV_CODEC_ID_VP3 && codec != AV_CODEC_ID_VP4 && codec != AV_CODEC_ID_THEORA;
}

void Flush(AVCodecContext* context)
{
    if (context && avcodec_is_open(context))
        avcodec_flush_buffers(context);
}

} // namespace

MediaInstance::MediaInstance() = default;

MediaInstance::~MediaInstance()
{
    Shutdown();
}

bool MediaInstance::Initialize(std::weak_ptr<MediaInfo> newMediaInfo, long long newInstanceId)
{
    auto const info = newMediaInfo.lock();
    if (!info || !info->IsInitialized()) {
        Logger::GetInstance().Error(QStringLiteral("Media info not initialized."));
        return false;
    }
    FfmpegPtr<AVPacket> newPacket(av_packet_alloc());
    if (!newPacket)
        return false;
    Shutdown();
    ForgetSource();
    audioDecoder = std::make_unique<AudioDecoder>();
    videoDecoder = std::make_unique<VideoDecoder>();
    packet = std::move(newPacket);
    mediaInfo = std::move(newMediaInfo);
    instanceId = static_cast<int>(static_cast<unsigned>(newInstanceId));
    for (VideoStream const& stream : info->GetVideoStreams()) {
        if (stream.codecName == QLatin1String("mpeg1video"))
            requiresLargeSeekOffset = true;
    }
    return true;
}

// Resets everything learnt from the previous source.
void MediaInstance::ForgetSource()
{
    audioStreamIndex = -1;
    videoStreamIndex = -1;
    channelCount = 0;
    sampleRate = 0;
    bytesPerSample = 0;
    planer = false;
    endOfFile = false;
    requiresLargeSeekOffset = false;
    seekFailed = false;
}

bool MediaInstance::OpenInput()
{
    auto const info = mediaInfo.lock();
    if (!info || !packet) {
        Logger::GetInstance().Error("Attempted to decode media that does not exist.");
        return false;
    }
    AVFormatContext* opened = nullptr;
    if (!MediaReader::OpenInput(info, &opened))
        return false;
    CloseInput();
    formatContext.reset(opened);
    audioStreamIndex = -1;
    videoStreamIndex = -1;
    if (!info->IsImage())
        avformat_find_stream_info(formatContext.get(), nullptr);
    if (info->GetNumAudioStreams() > 0 && !OpenAudio(*info))
        return false;
    return info->GetNumVideoStreams() == 0 || OpenVideo(*info);
}

bool MediaInstance::OpenAudio(MediaInfo const& info)
{
    Logger& logger = Logger::GetInstance();
    FfmpegBridge::DecoderPtr decoder = nullptr;
    audioStreamIndex = av_find_best_stream(formatContext.get(), AVMEDIA_TYPE_AUDIO, wantedAudioStream, -1, &decoder, 0);
    if (audioStreamIndex < 0) {
        LogMissingStream(missingAudio, audioStreamIndex);
        return false;
    }
    AVStream const* stream = formatContext->streams[audioStreamIndex];
    audioCodecContext.reset(avcodec_alloc_context3(nullptr));
    int result =
        audioCodecContext ? avcodec_parameters_to_context(audioCodecContext.get(), stream->codecpar) : AVERROR(ENOMEM);
    if (result < 0) {
        audioCodecContext.reset();
        logger.Error("Failed to create audio codec context.", result);
        return false;
    }
    result = avcodec_open2(audioCodecContext.get(), decoder, nullptr);
    if (result < 0) {
        logger.Error("Failed to open audio decoder.", result);
        return false;
    }
    AudioStream record;
    info.GetAudioStream(audioStreamIndex, record);
    if (!record.valid) {
        logger.Error("Audio stream invalid or not found.");
        return false;
    }
    channelCount = record.channels;
    sampleRate = record.sampleRate;
    bytesPerSample = record.bytesPerSample;
    planer = record.isPlanar;
    audioDecoder->Initialize(audioCodecContext.get(), stream->time_base, record.channels,
                             static_cast<long long>(record.channelLayout), record.sampleRate, record.sampleFormat);
    return true;
}

bool MediaInstance::OpenVideo(MediaInfo const& info)
{
    Logger& logger = Logger::GetInstance();
    FfmpegBridge::DecoderPtr decoder = nullptr;
    videoStreamIndex = av_find_best_stream(formatContext.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (videoStreamIndex < 0) {
        LogMissingStream(missingVideo, videoStreamIndex);
        return false;
    }
    AVStream const* stream = formatContext->streams[videoStreamIndex];
    videoCodecContext.reset(avcodec_alloc_context3(nullptr));
    int const result =
        videoCodecContext ? avcodec_parameters_to_context(videoCodecContext.get(), stream->codecpar) : AVERROR(ENOMEM);
    if (result < 0) {
        videoCodecContext.reset();
        logger.Error("Failed to create video codec context.", result);
        return false;
    }
    videoCodecContext->thread_count = mostThreads > 0 ? mostThreads : frameThreads; // 0: FFmpeg chooses
    if (info.IsImage() || !HasExactFrameThreads(stream->codecpar->codec_id))
        videoCodecContext->thread_type = FF_THREAD_SLICE; // frame threads do not speed up a single picture
    if (avcodec_open2(videoCodecContext.get(), decoder, nullptr) < 0) {
        logger.Error("Failed to open video decoder."); // without the code, unlike the audio message
        return false;
    }
    VideoStream record;
    info.GetVideoStream(videoStreamIndex, record);
    if (!record.valid) {
        logger.Error("Video stream invalid or not found.");
        return false;
    }
    videoDecoder->Initialize(videoCodecContext.get(), stream->time_base, record.width, record.height,
                             record.pixelAspectRatio, record.startTime, record.frameRate, RotationOf(record),
                             info.IsImage(), info.IsLinearColorSpace());
    videoDecoder->SetMostThreads(mostThreads);
    ApplyColours();
    return true;
}

void MediaInstance::CloseInput()
{
    ClearPacket();
    if (audioDecoder)
        audioDecoder->Shutdown();
    if (videoDecoder)
        videoDecoder->Shutdown();
    audioCodecContext.reset();
    videoCodecContext.reset();
    formatContext.reset();
}

void MediaInstance::Shutdown()
{
    CloseInput();
    packet.reset();
    audioDecoder.reset();
    videoDecoder.reset();
}

bool MediaInstance::HasPacket()
{
    if (formatContext)
        return packetLoaded;
    if (!OpenInput())
        return false;
    LoadPacket();
    return true;
}

void MediaInstance::PrepareNextPacket(bool force)
{
    ClearPacket();
    if (!endOfFile || force)
        LoadPacket();
}

void MediaInstance::ClearPacket()
{
    if (packetLoaded)
        av_packet_unref(packet.get());
    packetLoaded = false;
}

void MediaInstance::LoadPacket()
{
    ClearPacket();
    if (!formatContext)
        return;
    endOfFile = !MediaReader::GetPacket(formatContext.get(), packet.get());
    packetLoaded = true;
}

bool MediaInstance::IsAudioPacket() const
{
    return audioStreamIndex >= 0 && packetLoaded && packet->stream_index == audioStreamIndex;
}

bool MediaInstance::IsVideoPacket() const
{
    return videoStreamIndex >= 0 && packetLoaded && packet->stream_index == videoStreamIndex;
}

bool MediaInstance::IsKeyPacket() const
{
    return packetLoaded && (packet->flags & AV_PKT_FLAG_KEY) != 0;
}

long long MediaInstance::GetPacketTime() const
{
    if (!packetLoaded || packet->stream_index < 0 || packet->pts == AV_NOPTS_VALUE)
        return std::numeric_limits<long long>::min();
    AVStream const* stream = formatContext->streams[packet->stream_index];
    return TruncatedTime(static_cast<double>(packet->pts) * MicrosecondsPerTick(stream->time_base));
}

bool MediaInstance::HasStoredTimes() const
{
    if (!formatContext || videoStreamIndex < 0)
        return formatContext != nullptr;
    constexpr int elementaryTicks = 1200000; // ticks per second of FFmpeg's demuxers of elementary streams
    AVRational const timeBase = formatContext->streams[videoStreamIndex]->time_base;
    bool const isElementary = timeBase.num == 1 && timeBase.den == elementaryTicks;
    return !isElementary && !QByteArray(formatContext->iformat->name).endsWith("_pipe");
}

bool MediaInstance::IsEndOfFile() const
{
    return endOfFile;
}

bool MediaInstance::RequiresLargeSeekOffset() const
{
    return requiresLargeSeekOffset;
}

std::weak_ptr<MediaInfo> MediaInstance::GetMediaInfo() const
{
    return mediaInfo;
}

void MediaInstance::DecodePacket(QList<std::shared_ptr<DecodedAudioFrame>>& audioFrames,
                                 QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime)
{
    do
        DecodeOnePacket(audioFrames, videoFrames, seekTime);
    while (IsAudioPacket());
}

void MediaInstance::DecodeOnePacket(QList<std::shared_ptr<DecodedAudioFrame>>& audioFrames,
                                    QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime)
{
    if (!formatContext || !packet)
        return;
    int const index = packet->stream_index;
    bool const drains = index < 0;
    if (drains || index == audioStreamIndex)
        audioDecoder->DecodePacket(packet.get(), audioFrames);
    if (drains || index == videoStreamIndex)
        videoDecoder->DecodePacket(packet.get(), videoFrames, seekTime);
    ClearPacket();
    if (!endOfFile)
        LoadPacket();
}

bool MediaInstance::FollowSizeChange(QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames)
{
    return videoDecoder && videoDecoder->FollowSizeChange(videoFrames);
}

void MediaInstance::DrainVideo(QList<std::shared_ptr<DecodedVideoFrame>>& videoFrames, long long seekTime)
{
    FfmpegPtr<AVPacket> const empty(av_packet_alloc());
    if (videoDecoder && empty)
        videoDecoder->DecodePacket(empty.get(), videoFrames, seekTime);
}

bool MediaInstance::RenewVideoCodec()
{
    std::shared_ptr<MediaInfo> const info = mediaInfo.lock();
    if (!info || !videoCodecContext)
        return false;
    videoDecoder->Shutdown(); // before its codec goes
    return OpenVideo(*info);
}

void MediaInstance::SetSeekSkipping(bool skips)
{
    if (videoDecoder)
        videoDecoder->SetSeekSkipping(skips);
}

bool MediaInstance::HasSkippedInDoubt() const
{
    return videoDecoder && videoDecoder->HasSkippedInDoubt();
}

void MediaInstance::SetStepwiseDrain(bool isStepwise)
{
    if (videoDecoder)
        videoDecoder->SetStepwiseDrain(isStepwise);
}

QVector<long long> MediaInstance::TakeDamage()
{
    return videoDecoder ? videoDecoder->TakeDamage() : QVector<long long>();
}

void MediaInstance::BeginAtKeyPicture()
{
    if (videoDecoder)
        videoDecoder->BeginAtKeyPicture();
}

bool MediaInstance::IsBeforeKeyPicture() const
{
    return videoDecoder && videoDecoder->IsBeforeKeyPicture();
}

void MediaInstance::Seek(long long time)
{
    seekFailed = false;
    auto const info = mediaInfo.lock();
    if (info && info->IsImage()) {
        Reopen();
        return;
    }
    if (!formatContext && !OpenInput())
        return;
    int const result = SeekInput(time);
    seekFailed = result < 0;
    if (seekFailed) {
        Logger::GetInstance().Error(QStringLiteral("Seek Failed."), result);
        return;
    }
    Flush(videoCodecContext.get());
    Flush(audioCodecContext.get());
    LoadPacket();
}

bool MediaInstance::HasSeekFailed() const
{
    return seekFailed;
}

void MediaInstance::Reopen()
{
    CloseInput();
    if (OpenInput())
        LoadPacket();
}

int MediaInstance::SeekInput(long long time)
{
    bool const hasVideo = videoStreamIndex >= 0;
    int const streamIndex = hasVideo ? videoStreamIndex : -1; // -1: FFmpeg's default stream, in microseconds
    if (time == 0)
        return av_seek_frame(formatContext.get(), streamIndex, 0, AVSEEK_FLAG_BACKWARD);
    AVRational const microseconds = {1, AV_TIME_BASE};
    long long const target =
        hasVideo ? av_rescale_q(time, microseconds, formatContext->streams[videoStreamIndex]->time_base) : time;
    return avformat_seek_file(formatContext.get(), streamIndex, 0, target, target, AVSEEK_FLAG_FRAME);
}

bool MediaInstance::IsAudioMatched(std::shared_ptr<MediaInstance> other)
{
    return other && BoundedChannels(channelCount) == BoundedChannels(other->channelCount) &&
           sampleRate == other->sampleRate && bytesPerSample == other->bytesPerSample && planer == other->planer;
}

void MediaInstance::SetDecoderFrameRate(double frameRate)
{
    if (videoDecoder)
        videoDecoder->SetFrameRate(frameRate);
}

void MediaInstance::SetAudioStream(int streamIndex)
{
    wantedAudioStream = std::max(streamIndex, -1);
}

void MediaInstance::SetMostThreads(int threads)
{
    mostThreads = std::max(threads, 0);
}

void MediaInstance::SetFrameThreads(int threads)
{
    frameThreads = std::max(threads, 0);
}

void MediaInstance::SetColours(ColourSettings const& newColours)
{
    colours = newColours;
    ApplyColours();
}

QString MediaInstance::DescribeColours() const
{
    return videoDecoder ? videoDecoder->DescribeColours() : QString();
}

void MediaInstance::ApplyColours()
{
    bool const isOpen = videoDecoder && formatContext && videoStreamIndex >= 0;
    if (isOpen)
        videoDecoder->SetColours(colours, PictureColours::StatedPeak(*formatContext->streams[videoStreamIndex]));
}

void MediaInstance::LeaveOutPictures()
{
    for (unsigned i = 0; formatContext && i < formatContext->nb_streams; ++i) {
        if (static_cast<int>(i) != audioStreamIndex)
            formatContext->streams[i]->discard = AVDISCARD_ALL;
    }
}

int MediaInstance::GetActiveAudioStreamIndex() const
{
    return audioStreamIndex;
}

int MediaInstance::GetActiveVideoStreamIndex() const
{
    return videoStreamIndex;
}

int MediaInstance::GetChannelCount() const
{
    return channelCount;
}

int MediaInstance::GetOutputChannelCount() const
{
    return BoundedChannels(channelCount);
}

int MediaInstance::GetSampleRate() const
{
    return sampleRate;
}

int MediaInstance::GetBytesPerSample() const
{
    return bytesPerSample;
}

bool MediaInstance::IsPlaner() const
{
    return planer;
}
