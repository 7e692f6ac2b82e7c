#include "source/Source.h"

#include "common/Logger.h"
#include "common/Microseconds.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/ImageFormat.h"
#include "source/MediaItems.h"
#include "source/MoviePictures.h"
#include "source/SequencePictures.h"
#include "source/SoundStream.h"

#include <QByteArray>
#include <QDir>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <utility>

namespace {

// One picture that is decoded already: the cover of a file of sound.
class SinglePicture : public PictureStream
{
public:
    explicit SinglePicture(Picture newPicture) : picture(std::move(newPicture))
    {
        picture->startTime = 0;
        picture->endTime = 0;
    }

    ReadResult ReadNear(long long, long long, Picture& read, StopCheck const&) override
    {
        isRead = true;
        read = picture;
        return ReadResult::Got;
    }

    ReadResult Read(Picture& read, StopCheck const& stop) override
    {
        return isRead ? ReadResult::End : ReadNear(0, 0, read, stop);
    }

    long long GetEnd() const override { return 1; }
    long long GetDecodedCount() const override { return 1; }

private:
    Picture picture;
    bool isRead = false;
};

// Some image decoders hold their one picture back until the end of the file.
PictureStream::Picture DecodeCover(std::shared_ptr<MediaInfo> const& info, ColourSettings const& colours,
                                   StopCheck const& stop)
{
    MediaInstance instance;
    instance.SetColours(colours);
    instance.Initialize(info, 0);
    QList<PictureStream::Picture> pictures;
    while (pictures.isEmpty() && instance.HasPacket() && !stop()) {
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;
        if (instance.IsAudioPacket())
            instance.PrepareNextPacket(false);
        else
            instance.DecodeOnePacket(sounds, pictures, -1);
    }
    bool const isPicture = !pictures.isEmpty() && pictures.first()->data && pictures.first()->status == 0;
    return isPicture ? pictures.first() : nullptr;
}

template <typename Record>
bool HasDecodable(QList<Record> const& records)
{
    return std::any_of(records.begin(), records.end(),
                       [](Record const& record) { return MediaReader::IsDecodable(record); });
}

template <typename Record>
bool HasDecoder(QList<Record> const& records)
{
    return std::any_of(records.begin(), records.end(), [](Record const& record) { return record.valid; });
}

// Why all streams of one kind are left out.
template <typename Record>
QString ReasonAgainst(QList<Record> const& records, QString const& kind, QString const& fileName)
{
    return HasDecoder(records)
               ? QStringLiteral("The %1 of \"%2\" cannot be decoded: its start holds none.").arg(kind, fileName)
               : QStringLiteral("There is no decoder for the %1 of \"%2\".").arg(kind, fileName);
}

// Why a file is not even looked into; empty when it is.
QString ReasonAgainst(QString const& path)
{
    QFileInfo const file(path);
    if (!file.exists())
        return QStringLiteral("There is no file \"%1\".").arg(path);
    if (!file.isFile() || !file.isReadable())
        return QStringLiteral("\"%1\" cannot be read.").arg(path);
    return file.size() == 0 ? QStringLiteral("\"%1\" is empty.").arg(path) : QString();
}

bool IsStillFormat(QString const& codec, SourceOptions const& options)
{
    return AvGlobals::IsImageFormat(codec) || options.furtherImageFormats.contains(codec);
}

// Splitting a file into pictures takes a parser; without one it is a single packet.
bool HasParser(AVCodecID codec)
{
    AVCodecParserContext* const parser = av_parser_init(codec);
    av_parser_close(parser);
    return parser != nullptr;
}

// The first bytes of the next packet; they tell pictures of one format from whatever else may be in a file.
QByteArray NextHead(AVFormatContext* input)
{
    constexpr int headBytes = 2;
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    if (!MediaReader::GetPacket(input, packet.get()) || packet->size < headBytes)
        return {};
    return {reinterpret_cast<char const*>(packet->data), headBytes};
}

// Another picture stands behind the first one, as cameras send them.
bool HoldsSeveralPictures(std::shared_ptr<MediaInfo> const& info)
{
    AVFormatContext* opened = nullptr;
    if (!MediaReader::OpenInput(info, &opened))
        return false;
    FfmpegPtr<AVFormatContext> const input(opened);
    QByteArray const first = NextHead(opened);
    return !first.isEmpty() && NextHead(opened) == first;
}

// The demultiplexer decides first: a Motion-JPEG movie has the codec of a still image, too.
bool IsStill(std::shared_ptr<MediaInfo> const& info, AVFormatContext const& input, SourceOptions const& options)
{
    QString const demuxer = QString::fromUtf8(input.iformat->name);
    bool const isRow = demuxer.endsWith(QLatin1String("_pipe"));
    if ((!isRow && demuxer != QLatin1String("image2")) || input.nb_streams == 0)
        return false;
    AVCodecID const codec = input.streams[0]->codecpar->codec_id;
    return IsStillFormat(QString::fromUtf8(avcodec_get_name(codec)), options) &&
           !(isRow && HasParser(codec) && HoldsSeveralPictures(info));
}

Source::StreamType TypeOf(AVCodecParameters const& parameters)
{
    switch (parameters.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        return Source::StreamType::Video;
    case AVMEDIA_TYPE_AUDIO:
        return Source::StreamType::Audio;
    default:
        return Source::StreamType::Other;
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

} // namespace

Source Source::Open(QString const& path, SourceOptions const& options)
{
    return ImageSequence::IsPattern(path) ? OpenSequence(path, options) : OpenFile(path, options);
}

Source Source::Open(MediaItem const& item, SourceOptions const& options)
{
    return item.isSequence ? OpenSequence(item.path, options) : Open(item.path, options);
}

Source Source::OpenSequence(QString const& path, SourceOptions const& options)
{
    Source source;
    source.path = path;
    source.options = options;
    source.sequence = ImageSequence::Find(path, options.sequenceHoles, source.error);
    source.kind = source.sequence.IsEmpty() ? SourceKind::None : SourceKind::Sequence;
    if (!source.sequence.IsEmpty())
        source.startTimecode = StartTimecode::OfImage(source.sequence.GetFile(0), source.GetFrameRate());
    return source;
}

Source Source::OpenFile(QString const& path, SourceOptions const& options)
{
    Source source;
    source.path = path;
    source.options = options;
    source.wholeInfo = std::make_shared<MediaInfo>(path);
    source.info = source.wholeInfo;
    source.error = ReasonAgainst(path);
    if (!source.error.isEmpty())
        source.LogError();
    else if (source.DescribeFile())
        source.TakeKind();
    else
        source.error = QStringLiteral("\"%1\" is not a media file that can be read.").arg(path);
    return source;
}

// A file that is absent is left to the library to say.
void Source::LogError() const
{
    AVFormatContext* input = nullptr;
    if (QFileInfo::exists(path))
        Logger::GetInstance().Error(error);
    else if (MediaReader::OpenInput(wholeInfo, &input))
        MediaReader::CloseInput(&input);
}

bool Source::DescribeFile()
{
    AVFormatContext* opened = nullptr;
    bool const isOpen = MediaReader::OpenInput(wholeInfo, &opened);
    FfmpegPtr<AVFormatContext> input(opened);
    if (!isOpen)
        return false;
    wholeInfo->isImage = IsStill(wholeInfo, *input, options);
    QString const format = input->nb_streams > 0 ? CodecName(*input->streams[0]->codecpar) : QString();
    wholeInfo->isLinearColorSpace = options.isLinearColorSpace || (wholeInfo->isImage && IsLinearFormat(format));
    if (!MediaReader::ParseInput(wholeInfo, input))
        return false;
    formatName = QString::fromUtf8(input->iformat->name);
    packetsBearTimes = (input->iformat->flags & AVFMT_NOTIMESTAMPS) == 0;
    FfmpegBridge::DecoderPtr decoder = nullptr; // as a session chooses
    pictureStream = std::max(av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0), -1);
    MediaReader::ParseMetadata(input->metadata, tags);
    TakeStreams(*input);
    startTimecode = wholeInfo->IsImage() ? StartTimecode::OfImage(path, options.sequenceRate)
                                         : StartTimecode::Of(*input, path, wholeInfo->GetFrameRate());
    return true;
}

void Source::TakeStreams(AVFormatContext const& input)
{
    bitRate = input.bit_rate;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        AVStream const& announced = *input.streams[i];
        Stream stream;
        stream.index = static_cast<int>(i);
        stream.type = TypeOf(*announced.codecpar);
        stream.codec = CodecName(*announced.codecpar);
        stream.tag = CodecTag(*announced.codecpar);
        stream.isAttachedPicture = (announced.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        stream.bitRate = announced.codecpar->bit_rate;
        stream.frameCount = announced.nb_frames;
        // FFmpeg writes and reads the first letter as the field that is shown first.
        AVFieldOrder const order = announced.codecpar->field_order;
        stream.lowerFieldFirst = order == AV_FIELD_BB || order == AV_FIELD_BT;
        streams.append(stream);
        if (stream.type == StreamType::Video)
            taggedColours.append(StreamColours::Tagged(announced));
    }
}

// A cover is the picture of a file of sound: an attached one, or one at a rate that no movie has.
bool Source::IsCover(int position) const
{
    VideoStream const& record = wholeInfo->GetVideoStreams().at(position);
    bool const isImage = IsStillFormat(record.codecName, options) || record.codecName == QLatin1String("gif");
    return GetStream(StreamType::Video, position).isAttachedPicture ||
           (isImage && record.frameRate > Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE);
}

void Source::TakeKind()
{
    info = MediaReader::WithoutUndecodable(wholeInfo);
    if (!HasSound() && !HasPictures())
        error = QStringLiteral("\"%1\" holds neither pictures nor sound that can be decoded.").arg(path);
    else if (info->GetNumAudioStreams() < wholeInfo->GetNumAudioStreams())
        error = ReasonAgainst(wholeInfo->GetAudioStreams(), QStringLiteral("sound"), info->GetFileName());
    else if (info->GetNumVideoStreams() < wholeInfo->GetNumVideoStreams())
        error = ReasonAgainst(wholeInfo->GetVideoStreams(), QStringLiteral("pictures"), info->GetFileName());
    if (HasSound() && (!HasPictures() || HasCoverOnly()))
        kind = HasPictures() ? SourceKind::SoundWithCover : SourceKind::Sound;
    else if (HasPictures())
        kind = HasOnePicture() ? SourceKind::Still : SourceKind::Movie;
    if (info->IsImage())
        sequence = ImageSequence::FromFile(path);
}

std::unique_ptr<PictureStream> Source::OpenPictures(StopCheck const& stop) const
{
    if (!sequence.IsEmpty())
        return std::make_unique<SequencePictures>(sequence, options, info);
    if (!HasPictures())
        return nullptr;
    if (HasCoverOnly()) {
        auto const cover = DecodeCover(info, options.colours, stop);
        return cover ? std::make_unique<SinglePicture>(cover) : nullptr;
    }
    auto movie = std::make_unique<MoviePictures>(info, options.untimedRate, options.colours, options.movieThreads);
    return movie->Open() ? std::move(movie) : nullptr;
}

std::unique_ptr<SoundStream> Source::OpenSound() const
{
    return OpenSound(options.soundStream);
}

std::unique_ptr<SoundStream> Source::OpenSound(int soundStream) const
{
    SoundStreamInfo const chosen = GetSoundStreams().value(soundStream);
    auto sound = HasSound() ? std::make_unique<SoundStream>(info, chosen.isDecodable ? chosen.index : -1) : nullptr;
    return sound && sound->Open() ? std::move(sound) : nullptr;
}

QList<SoundStreamInfo> Source::GetSoundStreams() const
{
    QList<SoundStreamInfo> infos;
    int const count = wholeInfo ? wholeInfo->GetNumAudioStreams() : 0;
    for (int i = 0; i < count; ++i) {
        AudioStream const& record = wholeInfo->GetAudioStreams().at(i);
        Stream const stream = GetStream(StreamType::Audio, i);
        SoundStreamInfo described;
        described.index = stream.index;
        described.isDecodable = MediaReader::IsDecodable(record);
        described.language = record.metadata.value(QStringLiteral("language"));
        described.title = record.metadata.value(QStringLiteral("title"));
        described.codec = stream.codec;
        described.channels = record.channels;
        described.sampleRate = record.sampleRate;
        infos.append(described);
    }
    return infos;
}

bool Source::IsDescribed() const
{
    return wholeInfo && wholeInfo->IsInitialized();
}

bool Source::HasStreams() const
{
    return wholeInfo && (wholeInfo->GetNumVideoStreams() > 0 || wholeInfo->GetNumAudioStreams() > 0);
}

bool Source::HasPictures() const
{
    return kind == SourceKind::Sequence || (info && HasDecodable(info->GetVideoStreams()));
}

bool Source::HasSound() const
{
    return info && HasDecodable(info->GetAudioStreams());
}

bool Source::HasCoverOnly() const
{
    int const count = wholeInfo ? wholeInfo->GetNumVideoStreams() : 0;
    int covers = 0;
    while (covers < count && IsCover(covers))
        ++covers;
    return count > 0 && covers == count;
}

bool Source::HasOnePicture() const
{
    return (info && info->IsImage()) || HasCoverOnly();
}

bool Source::LeavesOutAHalf() const
{
    return info != wholeInfo;
}

bool Source::IsDurationTrusted() const
{
    if (kind == SourceKind::Sequence)
        return true;
    return packetsBearTimes && !info->IsImage() && info->GetDuration() > 0;
}

Source::Stream Source::GetStream(StreamType type, int position) const
{
    for (Stream const& stream : streams) {
        if (stream.type == type && position-- == 0)
            return stream;
    }
    return {};
}

QString Source::Describe() const
{
    if (kind == SourceKind::Sequence)
        return QStringLiteral("image sequence");
    bool const hasSound = wholeInfo->GetNumAudioStreams() > 0;
    if (info->IsImage())
        return QStringLiteral("still image");
    if (wholeInfo->GetNumVideoStreams() == 0)
        return hasSound ? QStringLiteral("sound") : QStringLiteral("nothing to see or hear");
    if (HasCoverOnly())
        return hasSound ? QStringLiteral("sound with cover art") : QStringLiteral("cover art");
    return hasSound ? QStringLiteral("movie") : QStringLiteral("movie without sound");
}

QString Source::GetName() const
{
    QString const pattern = kind == SourceKind::Sequence ? sequence.GetPattern() : QString();
    QFileInfo const file(path);
    if (pattern.isEmpty() || !file.exists())
        return path;
    return file.isDir() ? QDir(path).filePath(pattern) : path.left(path.size() - file.fileName().size()) + pattern;
}

int Source::GetWidth() const
{
    return info ? info->GetVideoWidth() : 0;
}

int Source::GetHeight() const
{
    return info ? info->GetVideoHeight() : 0;
}

double Source::GetSequenceRate() const
{
    return SequencePictures::RateFor(options);
}

// Of the first stream that can be decoded.
bool Source::IsLowerFieldFirst() const
{
    if (!wholeInfo)
        return false;
    auto const& records = wholeInfo->GetVideoStreams();
    auto const shown = std::find_if(records.begin(), records.end(), [](auto const& record) { return record.valid; });
    return GetStream(StreamType::Video, static_cast<int>(shown - records.begin())).lowerFieldFirst;
}

double Source::GetFrameRate() const
{
    if (kind == SourceKind::Sequence)
        return GetSequenceRate();
    return kind == SourceKind::Movie ? std::max(info->GetFrameRate(), 0.0) : 0.0;
}

long long Source::GetFrameStep() const
{
    if (!sequence.IsEmpty())
        return static_cast<long long>(secondUs / GetSequenceRate());
    if (kind != SourceKind::Movie)
        return 0;
    return info->GetFrameStep() > 0 ? info->GetFrameStep() : static_cast<long long>(secondUs / options.untimedRate);
}

long long Source::GetFirstNumber() const
{
    return kind == SourceKind::Sequence ? sequence.GetFirstNumber() : 0;
}

long long Source::GetDuration() const
{
    if (kind == SourceKind::Sequence)
        return SequencePictures::TimeOf(sequence.GetCount(), GetSequenceRate());
    return kind == SourceKind::Still ? 0 : info->GetDuration();
}

long long Source::GetOrigin() const
{
    return kind == SourceKind::Movie ? info->GetStartTime() : 0;
}

long long Source::EndOfLastPicture(DecodedVideoFrame const& last) const
{
    auto const step = last.frameRate > 0.0 ? static_cast<long long>(secondUs / last.frameRate) : 0;
    return std::max(GetDuration(), last.startTime + step);
}

bool Source::IsOver(DecodedVideoFrame const& found, long long time) const
{
    return !HasOnePicture() && time > found.endTime && time >= EndOfLastPicture(found);
}
