#include "tools/commands/OpenSource.h"

#include "common/Logger.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

#include <QFileInfo>

namespace {

template <typename Record>
QList<Source::Stream> UndecodableOf(Source const& source, QList<Record> const& records, Source::StreamType type)
{
    QList<Source::Stream> streams;
    for (int i = 0; i < records.size(); ++i) {
        if (!MediaReader::IsDecodable(records[i]))
            streams.append(source.GetStream(type, i));
    }
    return streams;
}

// Of the container's stream at `index`; a record that is not valid has no index.
bool HasDecoder(Source const& source, int index)
{
    AudioStream audio;
    VideoStream video;
    source.GetWholeInfo()->GetAudioStream(index, audio);
    source.GetWholeInfo()->GetVideoStream(index, video);
    return audio.valid || video.valid;
}

// Says it as the library says its own errors, so that it is remembered as the last one, too.
std::unique_ptr<Source> Refuse(QString const& why)
{
    Logger::GetInstance().Error(why);
    return nullptr;
}

// `source` if it has the half of it that is asked for. Says what is left out of it, or that there is no such half.
std::unique_ptr<Source> WithHalf(std::unique_ptr<Source> source, bool hasHalf, char const* absence)
{
    if (!source)
        return nullptr;
    SayUndecodable(*source);
    if (hasHalf)
        return source;
    if (!source->LeavesOutAHalf() && source->GetKind() != SourceKind::None)
        Console::Say(source->GetName() + QLatin1String(absence));
    return nullptr;
}

} // namespace

std::unique_ptr<Source> OpenSource(MediaItem const& item, MessageLog& log, SourceOptions const& options)
{
    QString const& path = item.path;
    log.BeginSource(path);
    if (path.contains(QChar::ReplacementCharacter) && !QFileInfo::exists(path))
        return Refuse(QStringLiteral("the file's name is not UTF-8; give it, or a link to it, another name"));
    auto source = std::make_unique<Source>(Source::Open(item, options));
    if (source->GetKind() == SourceKind::Sequence) {
        log.BeginSource(source->GetName());
        return source;
    }
    if (QFileInfo(path).isDir())
        return Refuse(QFileInfo(path).isReadable() ? QStringLiteral("there are no media files in this folder")
                                                   : QStringLiteral("the folder cannot be read"));
    if (ImageSequence::IsPattern(path))
        return Refuse(source->GetError());
    if (!source->IsDescribed())
        return nullptr;
    return source->HasStreams() ? std::move(source)
                                : Refuse(QStringLiteral("there are no pictures and no sound in it"));
}

std::optional<MediaItem> FindOnlyOne(QString const& path, MediaItems::Half half, MediaItems::Rows rows)
{
    QString error;
    auto item = MediaItems::OnlyOne(path, half, rows, error);
    if (!item)
        Console::Say(path + QStringLiteral(": ") + error);
    return item;
}

std::unique_ptr<Source> OpenPictures(std::optional<MediaItem> const& item, MessageLog& log,
                                     SourceOptions const& options)
{
    auto source = item ? OpenSource(*item, log, options) : nullptr;
    bool const hasPictures = source && source->HasPictures();
    return WithHalf(std::move(source), hasPictures, ": there are no pictures in it, only sound");
}

std::unique_ptr<Source> OpenSound(QString const& path, MessageLog& log, int stream)
{
    auto const item = FindOnlyOne(path, MediaItems::Half::Sound, MediaItems::Rows::Sequences);
    auto source = item ? OpenSource(*item, log, {}) : nullptr;
    bool const hasSound = source && source->HasSound();
    source = WithHalf(std::move(source), hasSound, ": there is no sound in it");
    return source && ChooseSound(*source, stream) ? std::move(source) : nullptr;
}

bool ChooseSound(Source& source, int number)
{
    source.SetSoundStream(number - 1);
    auto const streams = source.GetSoundStreams();
    if (number == 0 || streams.value(number - 1).isDecodable)
        return true;
    Console::Say(QStringLiteral("%1: there is no sound stream %2 that can be decoded; the file has %3")
                     .arg(source.GetName(), QString::number(number), QString::number(streams.size())));
    return false;
}

QList<Source::Stream> UndecodableStreams(Source const& source)
{
    if (!source.GetWholeInfo())
        return {};
    MediaInfo const& info = *source.GetWholeInfo();
    return UndecodableOf(source, info.GetVideoStreams(), Source::StreamType::Video) +
           UndecodableOf(source, info.GetAudioStreams(), Source::StreamType::Audio);
}

QStringList DescribeUndecodable(Source const& source)
{
    QStringList lines;
    for (Source::Stream const& stream : UndecodableStreams(source)) {
        QString const reason =
            HasDecoder(source, stream.index)
                ? QStringLiteral("the start of the file holds none of its packets")
                : QStringLiteral("FFmpeg has no usable decoder for \"%1\" (tag %2)").arg(stream.codec, stream.tag);
        lines.append(
            QStringLiteral("%1 stream #%2 cannot be decoded: %3")
                .arg(stream.type == Source::StreamType::Video ? QStringLiteral("video") : QStringLiteral("audio"),
                     QString::number(stream.index), reason));
    }
    return lines;
}

void SayUndecodable(Source const& source)
{
    for (QString const& line : DescribeUndecodable(source))
        Console::Say(source.GetPath() + QStringLiteral(": ") + line);
}
