#include "media/MediaReader.h"

#include "common/Logger.h"
#include "common/Microseconds.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/VideoDecoder.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"

#include <QFileInfo>
#include <QList>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <list>

namespace {

// Reads the packets at the start of a file on demand and hands each stream's reader all packets of its stream. If the
// file ends within these packets, each reader gets an empty closing packet.
class FileHead
{
public:
    explicit FileHead(AVFormatContext* newFormatContext) : formatContext(newFormatContext) {}

    // The next packet of the stream, then once for each reader the empty closing packet; null when there is none. Valid
    // until the next call.
    AVPacket* Next(int streamIndex)
    {
        current = TakeKept(streamIndex);
        while (!current && !ended && packetsRead < mostPackets)
            current = Read(streamIndex);
        if (current || !ended || closingReader == streamIndex)
            return current.get();
        closingReader = streamIndex;
        return closing.get();
    }

    // Whether `first`, the stream's first packet, holds the picture that is shown first, and a codec that holds back
    // `delay` pictures would deliver it within the head. Looks at later packets, which are kept: a later picture is
    // shown neither before its own decoding time nor before an earlier picture's decoding time.
    bool IsShownFirst(AVPacket const& first, int streamIndex, int delay)
    {
        if ((first.flags & AV_PKT_FLAG_KEY) == 0 || first.pts == AV_NOPTS_VALUE)
            return false;
        int const fewestAhead = 2 * (delay + 1); // each picture can come as two fields
        bool isFirst = false;
        for (int ahead = 0; !isFirst || ahead < fewestAhead; ++ahead) {
            AVPacket const* later = ahead < mostAhead ? Peek(streamIndex, ahead) : nullptr;
            if (!later)
                return ended;
            if (!isFirst && (later->pts == AV_NOPTS_VALUE || later->pts <= first.pts))
                return false;
            isFirst = isFirst || (later->dts != AV_NOPTS_VALUE && later->dts >= first.pts);
        }
        return true;
    }

private:
    using Packets = std::list<FfmpegPtr<AVPacket>>;

    static constexpr int mostPackets = 250;
    static constexpr int mostAhead = 40; // two fields for each picture that a codec can hold back, and some spare

    Packets::iterator FindKept(int streamIndex, int position = 0)
    {
        return std::find_if(kept.begin(), kept.end(),
                            [&](auto const& packet) { return packet->stream_index == streamIndex && position-- == 0; });
    }

    // The packet at `position` among the kept packets of the stream, read and kept if needed; null when there is none.
    AVPacket const* Peek(int streamIndex, int position)
    {
        auto packet = FindKept(streamIndex, position);
        while (packet == kept.end() && !ended && packetsRead < mostPackets) {
            if (auto next = Read(streamIndex))
                packet = kept.insert(kept.end(), std::move(next));
        }
        return packet == kept.end() ? nullptr : packet->get();
    }

    FfmpegPtr<AVPacket> TakeKept(int streamIndex)
    {
        auto const packet = FindKept(streamIndex);
        if (packet == kept.end())
            return nullptr;
        auto found = std::move(*packet);
        kept.erase(packet);
        return found;
    }

    // Reads one packet: returns it if it belongs to the stream, keeps it if it belongs to another video stream.
    FfmpegPtr<AVPacket> Read(int streamIndex)
    {
        FfmpegPtr<AVPacket> packet(av_packet_alloc());
        if (!packet || !MediaReader::GetPacket(formatContext, packet.get())) {
            ended = true;
            closing = std::move(packet);
            return nullptr;
        }
        ++packetsRead;
        if (packet->stream_index == streamIndex)
            return packet;
        AVStream const* stream = formatContext->streams[packet->stream_index];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            kept.push_back(std::move(packet));
        return nullptr;
    }

    AVFormatContext* formatContext; // not owned
    int packetsRead = 0;
    bool ended = false;
    int closingReader = -1; // stream of the reader that got the closing packet last
    FfmpegPtr<AVPacket> closing;
    FfmpegPtr<AVPacket> current;
    Packets kept;
};

// The stream's frame rate, rounded to three decimals; 0.0 when it has no usable one.
double FrameRateOf(AVStream const* stream)
{
    AVRational const rate = stream->avg_frame_rate.num != 0 ? stream->avg_frame_rate : stream->r_frame_rate;
    double const thousandths = static_cast<double>(rate.num) / static_cast<double>(rate.den) * 1000.0 + 0.5;
    if (!(thousandths >= 1.0 && thousandths <= std::numeric_limits<int32_t>::max()))
        return 0.0;
    return static_cast<int32_t>(thousandths) / 1000.0;
}

// The number of pictures in `duration`, counting a partial last one. Takes the container's own count if it differs by
// just one; a larger difference means that the container's count is wrong.
long long FrameCountOf(AVStream const* stream, long long duration, long long frameStep)
{
    long long const count = duration / frameStep + (duration % frameStep > 0 ? 1 : 0);
    auto const difference =
        static_cast<int32_t>(static_cast<uint32_t>(stream->nb_frames) - static_cast<uint32_t>(count));
    bool const isClose = difference == 1 || difference == -1;
    return stream->nb_frames > 0 && isClose ? stream->nb_frames : count;
}

void SetTiming(VideoStream& record, AVStream const* stream, long long duration)
{
    double const frameRate = FrameRateOf(stream);
    if (frameRate <= 0.0)
        return;
    auto const frameStep = static_cast<long long>(1.0 / frameRate * secondUs);
    if (frameStep < 1)
        return;
    record.frameRate = frameRate;
    record.frameStep = frameStep;
    record.numFrames = FrameCountOf(stream, duration, frameStep);
}

float PixelAspectRatioOf(AVRational const& ratio)
{
    if (ratio.den == 0)
        return 1.0f;
    auto const value = static_cast<float>(static_cast<double>(ratio.num) / static_cast<double>(ratio.den));
    return value > 0.0f ? value : 1.0f;
}

// FFmpeg 5 dropped the "rotate" tag that FFmpeg 4 wrote for a rotated stream of a QuickTime or MP4 file. The display
// matrix holds the same angle.
void AddRotateTag(AVFormatContext const* formatContext, AVStream const* stream, QMap<QString, QString>& metadata)
{
    if (!FfmpegBridge::mustWriteRotateTag || std::strcmp(formatContext->iformat->name, "mov,mp4,m4a,3gp,3g2,mj2") != 0)
        return;
    int32_t const* matrix = FfmpegBridge::DisplayMatrix(stream);
    double const counterClockwise = matrix ? av_display_rotation_get(matrix) : NAN;
    if (std::isnan(counterClockwise))
        return;
    double clockwise = 0.0 - counterClockwise; // never -0
    if (clockwise < 0.0)
        clockwise += 360.0;
    char text[32];
    std::snprintf(text, sizeof text, "%g", clockwise);
    metadata[QStringLiteral("rotate")] = QString::fromLatin1(text);
}

FfmpegPtr<AVCodecContext> OpenVideoCodec(AVStream const* stream)
{
    FfmpegPtr<AVCodecContext> context(avcodec_alloc_context3(nullptr));
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0 ||
        avcodec_open2(context.get(), avcodec_find_decoder(context->codec_id), nullptr) < 0)
        return nullptr;
    context->skip_loop_filter = AVDISCARD_ALL; // only the pictures' times are used
    context->skip_idct = AVDISCARD_ALL;
    return context;
}

void SetStartTime(VideoStream& record, MediaInfo const& info, long long startTime)
{
    record.startTime = startTime;
    if (startTime >= 0)
        return;
    record.startTime = 0;
    Logger::GetInstance().Info(
        QStringLiteral("INFO: Video stream (%1) start time is less than 0. Skipping negative frames: %2 (%3)")
            .arg(QString::number(record.streamIndex), info.GetFileName(), QString::number(startTime)));
}

template <typename Stream>
bool HasDecodable(QList<Stream> const& streams)
{
    return std::any_of(streams.begin(), streams.end(),
                       [](Stream const& stream) { return MediaReader::IsDecodable(stream); });
}

// Drains the codec to get the picture of the stream's first packet without decoding the pictures that the codec would
// hold it back for. If the codec has no picture to give, it is flushed and gets that packet again.
void DrainFirstPicture(VideoDecoder& decoder, AVCodecContext* context, AVPacket const* first,
                       QList<std::shared_ptr<DecodedVideoFrame>>& frames)
{
    FfmpegPtr<AVPacket> const empty(av_packet_alloc());
    decoder.DecodePacket(empty.get(), frames, -1);
    bool const hasPicture = !frames.isEmpty() && frames.first()->width > 0;
    if (hasPicture)
        return;
    frames.clear();
    avcodec_flush_buffers(context);
    avcodec_send_packet(context, first);
}

// Decodes until `frames` holds a record. All video streams share one list, which is never emptied: with several
// streams, the later ones get the start time of the first record.
void FindStartTime(VideoStream& record, MediaInfo const& info, AVFormatContext* formatContext, FileHead& head,
                   QList<std::shared_ptr<DecodedVideoFrame>>& frames)
{
    if (!record.valid)
        return;
    AVStream const* stream = formatContext->streams[record.streamIndex];
    auto const context = OpenVideoCodec(stream);
    if (!context)
        return;
    VideoDecoder decoder;
    decoder.SetTimesOnly(true);
    decoder.Initialize(context.get(), stream->time_base, record.width, record.height, record.pixelAspectRatio, 0,
                       record.frameRate, 0, info.IsImage(), info.IsLinearColorSpace());
    bool isFirst = true;
    while (AVPacket* packet = head.Next(record.streamIndex)) {
        decoder.DecodePacket(packet, frames, -1);
        if (isFirst && frames.isEmpty() &&
            head.IsShownFirst(*packet, record.streamIndex, stream->codecpar->video_delay))
            DrainFirstPicture(decoder, context.get(), packet, frames);
        isFirst = false;
        if (!frames.isEmpty()) {
            SetStartTime(record, info, frames.first()->startTime);
            return;
        }
    }
}

} // namespace

bool MediaReader::OpenInput(std::shared_ptr<MediaInfo> info, AVFormatContext** formatContext)
{
    QFileInfo const file(info->GetFilePath());
    QString const path = file.absoluteFilePath();
    if (!file.exists()) {
        Logger::GetInstance().Error(QStringLiteral("File not found: %1").arg(path));
        return false;
    }
    int const result = avformat_open_input(formatContext, path.toUtf8().constData(), nullptr, nullptr);
    if (result < 0) {
        Logger::GetInstance().Error(QStringLiteral("Failed to open input for parsing: %1").arg(path), result);
        return false;
    }
    return true;
}

bool MediaReader::IsDecodable(AudioStream const& stream)
{
    return stream.valid && stream.channels > 0 && stream.sampleRate > 0;
}

bool MediaReader::IsDecodable(VideoStream const& stream)
{
    return stream.valid && stream.width > 0 && stream.height > 0;
}

std::shared_ptr<MediaInfo> MediaReader::WithoutUndecodable(std::shared_ptr<MediaInfo> info)
{
    bool const hasPictures = HasDecodable(info->videoStreams);
    bool const hasSound = HasDecodable(info->audioStreams);
    bool const leavesPictures = hasSound && !hasPictures && !info->videoStreams.isEmpty();
    bool const leavesSound = hasPictures && !hasSound && !info->audioStreams.isEmpty();
    if (!leavesPictures && !leavesSound)
        return info;
    auto half = std::make_shared<MediaInfo>(info->filePath);
    half->initialized = info->initialized;
    half->sourceId = info->sourceId;
    half->isImage = info->isImage;
    half->isLinearColorSpace = info->isLinearColorSpace;
    half->duration = info->duration;
    half->metadata = info->metadata;
    if (leavesPictures)
        half->audioStreams = info->audioStreams;
    else
        half->videoStreams = info->videoStreams;
    return half;
}

void MediaReader::ParseMetadata(AVDictionary* dictionary, QMap<QString, QString>& metadata)
{
    AVDictionaryEntry const* entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)))
        metadata[QString::fromLatin1(entry->key)] = QString::fromUtf8(entry->value);
}

bool MediaReader::ParseAudioProperties(std::shared_ptr<MediaInfo> info, AVFormatContext* formatContext,
                                       unsigned long streamIndex)
{
    AVStream const* stream = formatContext->streams[streamIndex];
    FfmpegPtr<AVCodecContext> const context(avcodec_alloc_context3(nullptr));
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0) {
        Logger::GetInstance().Error("Failed to get audio codec.");
        return false;
    }
    AVCodec const* decoder = avcodec_find_decoder(context->codec_id);
    if (!decoder) {
        Logger::GetInstance().Error("Audio decoder not found.");
        return false;
    }
    int const result = avcodec_open2(context.get(), decoder, nullptr);
    if (result < 0) {
        Logger::GetInstance().Error(QStringLiteral("Failed to open audio codec."), result);
        return false;
    }
    if (info->audioStreams.isEmpty())
        return false;
    AudioStream& record = info->audioStreams.last();
    record.streamIndex = static_cast<int>(streamIndex);
    record.codecName = QString::fromUtf8(decoder->name);
    record.channels = FfmpegBridge::ChannelCount(context.get());
    record.channelLayout = FfmpegBridge::ChannelLayoutMask(context.get());
    if (record.channelLayout == 0)
        record.channelLayout = FfmpegBridge::DefaultChannelLayout(record.channels);
    record.isPlanar = av_sample_fmt_is_planar(context->sample_fmt) != 0;
    record.bytesPerSample = av_get_bytes_per_sample(context->sample_fmt);
    record.sampleRate = context->sample_rate;
    record.sampleFormat = context->sample_fmt;
    record.valid = true;
    ParseMetadata(stream->metadata, record.metadata);
    return true;
}

bool MediaReader::ParseVideoProperties(std::shared_ptr<MediaInfo> info, AVFormatContext* formatContext,
                                       unsigned long streamIndex)
{
    AVStream const* stream = formatContext->streams[streamIndex];
    FfmpegPtr<AVCodecContext> const context(avcodec_alloc_context3(nullptr));
    if (!context || avcodec_parameters_to_context(context.get(), stream->codecpar) < 0) {
        Logger::GetInstance().Error("Failed to get video codec context.");
        return false;
    }
    context->thread_count = 0; // FFmpeg chooses
    AVCodec const* decoder = avcodec_find_decoder(context->codec_id);
    if (!decoder) {
        Logger::GetInstance().Error("Video decoder not found.");
        return false;
    }
    int const result = avcodec_open2(context.get(), decoder, nullptr);
    if (result < 0) {
        Logger::GetInstance().Error(QStringLiteral("Failed to open video codec."), result);
        return false;
    }
    if (info->videoStreams.isEmpty())
        return false;
    VideoStream& record = info->videoStreams.last();
    record.streamIndex = static_cast<int>(streamIndex);
    record.codecName = QString::fromUtf8(decoder->name);
    record.width = context->width;
    record.height = context->height;
    record.pixelAspectRatio = PixelAspectRatioOf(context->sample_aspect_ratio);
    ParseMetadata(stream->metadata, record.metadata);
    AddRotateTag(formatContext, stream, record.metadata);
    if (info->IsImage()) {
        info->duration = -1;
        record.numFrames = 1;
        record.frameRate = -1.0;
        record.frameStep = -1;
    } else if (info->duration > 0) {
        SetTiming(record, stream, info->duration);
    }
    record.codecDelay = context->delay;
    record.valid = true;
    return true;
}

bool MediaReader::TakeDescription(std::shared_ptr<MediaInfo> info, MediaInfo const& like)
{
    info->duration = like.duration;
    info->metadata = like.metadata;
    info->audioStreams = like.audioStreams;
    info->videoStreams = like.videoStreams;
    info->initialized = like.initialized;
    return info->initialized;
}

bool MediaReader::GetPacket(AVFormatContext* formatContext, AVPacket* packet)
{
    if (!packet)
        return false;
    if (av_read_frame(formatContext, packet) >= 0)
        return true;
    av_packet_unref(packet);
    packet->stream_index = -1;
    return false;
}

void MediaReader::CloseInput(AVFormatContext** formatContext)
{
    avformat_close_input(formatContext);
}

bool MediaReader::ParseMedia(std::shared_ptr<MediaInfo> info)
{
    info->initialized = false;
    info->audioStreams.clear();
    info->videoStreams.clear();
    AVFormatContext* opened = nullptr;
    bool const isOpen = OpenInput(info, &opened);
    FfmpegPtr<AVFormatContext> input(opened);
    return isOpen && ParseInput(info, input);
}

bool MediaReader::ParseInput(std::shared_ptr<MediaInfo> info, FfmpegPtr<AVFormatContext>& input)
{
    info->initialized = false;
    info->audioStreams.clear();
    info->videoStreams.clear();
    int const result = avformat_find_stream_info(input.get(), nullptr);
    if (result < 0) {
        input.reset(); // before the log, so that its sink can use the file
        Logger::GetInstance().Error(
            QStringLiteral("Failed to find stream information for \"%1\"").arg(info->GetFileName()), result);
        return false;
    }
    info->duration = input->duration > 0 ? input->duration : -1;
    ParseMetadata(input->metadata, info->metadata);
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        AVMediaType const type = input->streams[i]->codecpar->codec_type;
        if (type == AVMEDIA_TYPE_VIDEO) {
            info->videoStreams.append(VideoStream());
            ParseVideoProperties(info, input.get(), i);
        } else if (type == AVMEDIA_TYPE_AUDIO) {
            info->audioStreams.append(AudioStream());
            ParseAudioProperties(info, input.get(), i);
        }
    }
    if (info->IsImage()) {
        info->duration = -1;
    } else {
        FileHead head(input.get());
        QList<std::shared_ptr<DecodedVideoFrame>> frames;
        for (VideoStream& record : info->videoStreams)
            FindStartTime(record, *info, input.get(), head, frames);
    }
    info->initialized = true;
    return true;
}
