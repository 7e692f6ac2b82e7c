#include "tools/MediaSource.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

#include <QFileInfo>
#include <QStringList>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>

namespace {

// Formats of single pictures beside those that the library names. GIF and the like are movies.
bool IsFurtherImageFormat(QString const& codec)
{
    static QStringList const names = {"bmp",    "dds", "fits", "hdr",   "jpeg2000", "jpegls", "jpegxl",
                                      "pam",    "pbm", "pcx",  "pfm",   "pgm",      "pgmyuv", "phm",
                                      "pictor", "ppm", "psd",  "qdraw", "qoi",      "sgi",    "sunrast",
                                      "webp",   "xbm", "xpm",  "xwd",   "photocd"};
    return names.contains(codec);
}

MediaSource::StreamType TypeOf(AVCodecParameters const& parameters)
{
    switch (parameters.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        return MediaSource::StreamType::Video;
    case AVMEDIA_TYPE_AUDIO:
        return MediaSource::StreamType::Audio;
    default:
        return MediaSource::StreamType::Other;
    }
}

QString CodecName(AVCodecParameters const& parameters)
{
    if (parameters.codec_id == AV_CODEC_ID_NONE)
        return QStringLiteral("unknown");
    return QString::fromUtf8(avcodec_get_name(parameters.codec_id));
}

QString CodecTag(AVCodecParameters const& parameters)
{
    char text[AV_FOURCC_MAX_STRING_SIZE] = {};
    return QString::fromLatin1(av_fourcc_make_string(text, parameters.codec_tag));
}

template <typename Record>
QStringList UndecodableOf(MediaSource const& source, QList<Record> const& records, MediaSource::StreamType type,
                          QString const& name)
{
    QStringList lines;
    for (int i = 0; i < records.size(); ++i) {
        auto const stream = source.GetStream(type, i);
        if (!records[i].valid)
            lines.append(QStringLiteral("%1 stream #%2 cannot be decoded: FFmpeg has no usable decoder for \"%3\" "
                                        "(tag %4)")
                             .arg(name, QString::number(stream.index), stream.codec, stream.tag));
    }
    return lines;
}

} // namespace

MediaSource::MediaSource(QString const& path) : wholeInfo(std::make_shared<MediaInfo>(path)), info(wholeInfo) {}

bool MediaSource::Open()
{
    if (!LookInto())
        return false;
    info->isImage = IsStillImage();
    info->isLinearColorSpace = info->isImage && streams.first().codec == QLatin1String("exr"); // linear by definition
    if (!MediaReader::ParseMedia(wholeInfo))
        return false;
    info = MediaReader::WithoutUndecodable(wholeInfo);
    return true;
}

bool MediaSource::LookInto()
{
    AVFormatContext* opened = nullptr;
    if (!MediaReader::OpenInput(info, &opened))
        return false;
    FfmpegPtr<AVFormatContext> const input(opened);
    formatName = QString::fromUtf8(input->iformat->name);
    packetsBearTimes = (input->iformat->flags & AVFMT_NOTIMESTAMPS) == 0;
    if (input->ctx_flags & AVFMTCTX_NOHEADER)
        avformat_find_stream_info(input.get(), nullptr); // such containers announce their streams as they come
    MediaReader::ParseMetadata(input->metadata, tags);
    TakeStreams(input.get());
    return true;
}

void MediaSource::TakeStreams(AVFormatContext* formatContext)
{
    for (unsigned i = 0; i < formatContext->nb_streams; ++i) {
        AVStream const* announced = formatContext->streams[i];
        Stream stream;
        stream.index = static_cast<int>(i);
        stream.type = TypeOf(*announced->codecpar);
        stream.codec = CodecName(*announced->codecpar);
        stream.tag = CodecTag(*announced->codecpar);
        stream.isAttachedPicture = (announced->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        streams.append(stream);
    }
}

// The demuxer decides first: a Motion-JPEG movie has the codec of a still image, too.
bool MediaSource::IsStillImage() const
{
    bool const isPictureDemuxer = formatName == QLatin1String("image2") || formatName.endsWith(QLatin1String("_pipe"));
    if (!isPictureDemuxer || streams.isEmpty())
        return false;
    QString const& codec = streams.first().codec;
    return AvGlobals::IsImageFormat(codec) || IsFurtherImageFormat(codec);
}

MediaSource::Stream MediaSource::GetStream(StreamType type, int position) const
{
    for (Stream const& stream : streams) {
        if (stream.type == type && position-- == 0)
            return stream;
    }
    return {};
}

bool MediaSource::HasStreams() const
{
    return wholeInfo->GetNumVideoStreams() > 0 || wholeInfo->GetNumAudioStreams() > 0;
}

bool MediaSource::HasPictures() const
{
    return info->GetNumVideoStreams() > 0;
}

bool MediaSource::HasSound() const
{
    return info->GetNumAudioStreams() > 0;
}

bool MediaSource::HasCoverOnly() const
{
    for (Stream const& stream : streams) {
        if (stream.type == StreamType::Video && !stream.isAttachedPicture)
            return false;
    }
    return wholeInfo->GetNumVideoStreams() > 0;
}

bool MediaSource::CanSeek() const
{
    return packetsBearTimes && !info->IsImage() && info->GetDuration() > 0;
}

QString MediaSource::Describe() const
{
    bool const hasSound = wholeInfo->GetNumAudioStreams() > 0;
    if (info->IsImage())
        return QStringLiteral("still image");
    if (wholeInfo->GetNumVideoStreams() == 0)
        return hasSound ? QStringLiteral("sound") : QStringLiteral("nothing to see or hear");
    if (HasCoverOnly())
        return hasSound ? QStringLiteral("sound with cover art") : QStringLiteral("cover art");
    return hasSound ? QStringLiteral("movie") : QStringLiteral("movie without sound");
}

QStringList MediaSource::DescribeUndecodable() const
{
    return UndecodableOf(*this, wholeInfo->GetVideoStreams(), StreamType::Video, QStringLiteral("video")) +
           UndecodableOf(*this, wholeInfo->GetAudioStreams(), StreamType::Audio, QStringLiteral("audio"));
}

bool MediaSource::LeavesOutAHalf() const
{
    return info != wholeInfo;
}

long long MediaSource::ToMediaTime(long long containerTime) const
{
    return containerTime - info->GetStartTime();
}

long long MediaSource::EndOfLastPicture(DecodedVideoFrame const& last) const
{
    auto const step = last.frameRate > 0.0 ? static_cast<long long>(1000000.0 / last.frameRate) : 0;
    return std::max(info->GetDuration(), last.startTime + step);
}

std::unique_ptr<MediaSource> OpenSource(QString const& path, MessageLog& log)
{
    log.BeginSource(path);
    if (path.contains(QChar::ReplacementCharacter) && !QFileInfo::exists(path)) {
        Console::Say(path + QStringLiteral(": the file's name is not UTF-8; give it, or a link to it, another name"));
        return nullptr;
    }
    auto source = std::make_unique<MediaSource>(path);
    if (!source->Open())
        return nullptr;
    if (!source->HasStreams()) {
        Console::Say(path + QStringLiteral(": there are no pictures and no sound in it"));
        return nullptr;
    }
    return source;
}

void SayUndecodable(MediaSource const& source)
{
    for (QString const& line : source.DescribeUndecodable())
        Console::Say(source.GetInfo()->GetFilePath() + QStringLiteral(": ") + line);
}

std::unique_ptr<MediaSource> OpenPictures(QString const& path, MessageLog& log)
{
    auto source = OpenSource(path, log);
    if (!source || source->HasPictures())
        return source;
    if (source->LeavesOutAHalf())
        SayUndecodable(*source);
    else
        Console::Say(path + QStringLiteral(": there are no pictures in it, only sound"));
    return nullptr;
}

std::unique_ptr<MediaSource> OpenSound(QString const& path, MessageLog& log)
{
    auto source = OpenSource(path, log);
    if (!source || source->HasSound())
        return source;
    if (source->LeavesOutAHalf())
        SayUndecodable(*source);
    else
        Console::Say(path + QStringLiteral(": there is no sound in it"));
    return nullptr;
}
