#include "tools/report/Info.h"

#include "common/TimeText.h"
#include "media/MediaInfo.h"
#include "source/ImageOrientation.h"
#include "source/Source.h"
#include "source/StreamColours.h"
#include "tools/report/SequenceFiles.h"
#include "tools/report/StreamText.h"

#include <QFileInfo>
#include <QLocale>
#include <QStringList>

namespace {

constexpr int titleWidth = 11;

QString Line(QString const& title, QStringList const& words)
{
    return QStringLiteral("  %1%2\n").arg(title.leftJustified(titleWidth), words.join(QStringLiteral(", ")));
}

QString TagLines(QMap<QString, QString> const& tags)
{
    QString text;
    for (auto tag = tags.begin(); tag != tags.end(); ++tag) {
        QString value = tag.value();
        value.replace(QLatin1Char('\n'), QStringLiteral("\n") + QString(titleWidth + 4, QLatin1Char(' ')));
        text += QStringLiteral("  %1%2 = %3\n").arg(QString(titleWidth, QLatin1Char(' ')), tag.key(), value);
    }
    return text;
}

QString DurationText(MediaInfo const& info)
{
    if (info.IsImage())
        return QStringLiteral("no duration");
    return info.GetDuration() > 0 ? TimeText::Clock(info.GetDuration())
                                  : QStringLiteral("duration not stated in the file");
}

QStringList OrientationWords(VideoStream const& stream, Source const& source)
{
    QStringList words;
    QString rotation = stream.metadata.value(QStringLiteral("rotate"));
    if (source.GetWholeInfo()->IsImage()) {
        ImageOrientation const orientation = ImageOrientation::Of(source.GetPath());
        rotation = QString::number(orientation.rotation);
        if (orientation.isMirrored)
            words += QStringLiteral("to be mirrored left to right");
    }
    if (!rotation.isEmpty() && rotation != QLatin1String("0"))
        words += QStringLiteral("to be turned %1 degrees clockwise").arg(rotation);
    return words;
}

QStringList PictureWords(VideoStream const& stream, Source const& source)
{
    QStringList words{StreamText::CodecName(stream.codecName),
                      QStringLiteral("%1x%2").arg(stream.width).arg(stream.height)};
    if (stream.pixelAspectRatio != 1.0f)
        words += QStringLiteral("pixels %1, shown %2 wide")
                     .arg(StreamText::AspectRatio(stream))
                     .arg(static_cast<int>(static_cast<float>(stream.width) * stream.pixelAspectRatio));
    return words + OrientationWords(stream, source);
}

QString CountText(long long count)
{
    return QStringLiteral("%1 picture%2").arg(count).arg(count == 1 ? QString() : QStringLiteral("s"));
}

// `count`: of the pictures; empty when it is not known.
QStringList TimingWords(VideoStream const& stream, Info::Count count)
{
    QStringList words;
    if (stream.frameRate > 0.0)
        words += QStringLiteral("%1 pictures a second").arg(stream.frameRate);
    if (count)
        words += CountText(*count);
    else if (stream.numFrames > 0)
        words += QStringLiteral("about ") + CountText(stream.numFrames);
    words += QStringLiteral("starts at %1 s").arg(TimeText::Seconds(stream.startTime));
    return words;
}

QString UndecodableLine(QString const& title, Source::Stream const& announced)
{
    return Line(title, {QStringLiteral("%1 (tag %2)").arg(announced.codec, announced.tag),
                        QStringLiteral("cannot be decoded: FFmpeg has no usable decoder for it")});
}

QString ColourLines(StreamColours const& colours)
{
    QStringList words;
    for (QString const& word :
         {colours.pixelFormat, colours.range, colours.matrix, colours.transfer, colours.primaries})
        if (!word.isEmpty())
            words += word;
    if (!colours.chromaLocation.isEmpty())
        words += QStringLiteral("chroma ") + colours.chromaLocation;
    if (!colours.fieldOrder.isEmpty())
        words += colours.fieldOrder == QLatin1String("progressive") ? colours.fieldOrder
                                                                    : QStringLiteral("fields ") + colours.fieldOrder;
    QStringList light;
    if (colours.masteringDisplay.contains(QStringLiteral("max_luminance")))
        light += QStringLiteral("mastered for %1 to %2 cd/m2")
                     .arg(colours.masteringDisplay.value(QStringLiteral("min_luminance")),
                          colours.masteringDisplay.value(QStringLiteral("max_luminance")));
    if (!colours.lightLevels.isEmpty())
        light += QStringLiteral("light levels %1, %2 on average")
                     .arg(colours.lightLevels.value(QStringLiteral("max_content")))
                     .arg(colours.lightLevels.value(QStringLiteral("max_average")));
    if (!colours.conversion.isEmpty())
        light += QStringLiteral("shown ") + colours.conversion;
    return (words.isEmpty() ? QString() : Line(QStringLiteral("  colours"), words)) +
           (light.isEmpty() ? QString() : Line(QStringLiteral("  light"), light));
}

QString VideoLine(Source const& source, Info::Count count, QList<StreamColours> const& colours, int position)
{
    VideoStream const& stream = source.GetWholeInfo()->GetVideoStreams()[position];
    auto const announced = source.GetStream(Source::StreamType::Video, position);
    QString const title = QStringLiteral("video #%1").arg(announced.index);
    if (!stream.valid)
        return UndecodableLine(title, announced);
    QStringList words = PictureWords(stream, source);
    if (announced.isAttachedPicture)
        words += QStringLiteral("cover art");
    else if (!source.GetWholeInfo()->IsImage())
        words += TimingWords(stream, announced.index == source.GetPictureStream() ? count : std::nullopt);
    return Line(title, words) + ColourLines(StreamColours::Of(announced.index, colours)) + TagLines(stream.metadata);
}

QString AudioLine(Source const& source, int position)
{
    AudioStream const& stream = source.GetWholeInfo()->GetAudioStreams()[position];
    auto const announced = source.GetStream(Source::StreamType::Audio, position);
    QString const title = QStringLiteral("audio #%1").arg(announced.index);
    if (!stream.valid)
        return UndecodableLine(title, announced);
    QString const layout = StreamText::ChannelLayout(stream);
    QString const channels =
        QStringLiteral("%1 channel%2").arg(stream.channels).arg(stream.channels == 1 ? QString() : QStringLiteral("s"));
    return Line(title, {StreamText::CodecName(stream.codecName), QStringLiteral("%1 Hz").arg(stream.sampleRate),
                        layout.isEmpty() ? channels : QStringLiteral("%1 (%2)").arg(channels, layout),
                        StreamText::SampleFormat(stream)}) +
           TagLines(stream.metadata);
}

QString TimecodeLine(Source const& source)
{
    StartTimecode const& start = source.GetStartTimecode();
    if (start.text.isEmpty())
        return {};
    return Line(QStringLiteral("timecode"),
                {QStringLiteral("starts at %1").arg(start.text), QStringLiteral("%1 frames a second").arg(start.rate)});
}

// "shot.1001.png to shot.1100.png, missing: 1003, 1010 to 1012"
QStringList FileWords(Source const& source)
{
    constexpr int mostHoles = 5;
    QStringList const files = source.GetSequence().GetFiles();
    QStringList words{
        QStringLiteral("%1 to %2").arg(QFileInfo(files.first()).fileName(), QFileInfo(files.last()).fileName())};
    auto const holes = SequenceFiles::FindHoles(source);
    for (SequenceFiles::Hole const& hole : holes.mid(0, mostHoles)) {
        QString const numbers = hole.first == hole.last ? QString::number(hole.first)
                                                        : QStringLiteral("%1 to %2").arg(hole.first).arg(hole.last);
        words += (words.size() == 1 ? QStringLiteral("missing ") : QString()) + numbers;
    }
    if (holes.size() > mostHoles)
        words += QStringLiteral("and %1 more").arg(holes.size() - mostHoles);
    return words;
}

QString SequenceVideoLine(Source const& source, Source const& one)
{
    auto const& records = one.GetWholeInfo()->GetVideoStreams();
    int position = 0;
    while (!records[position].valid)
        ++position;
    auto const announced = one.GetStream(Source::StreamType::Video, position);
    QStringList const words = PictureWords(records[position], one) +
                              QStringList{QStringLiteral("%1 pictures a second").arg(source.GetSequenceRate()),
                                          CountText(source.GetSequence().GetFiles().size())};
    return Line(QStringLiteral("video #%1").arg(announced.index), words) +
           ColourLines(StreamColours::Of(announced.index, StreamColours::Probe(one))) +
           TagLines(records[position].metadata);
}

} // namespace

QString Info::SequenceAsText(Source const& source, Source const& one)
{
    QString const size = QLocale::c().formattedDataSize(SequenceFiles::GetBytes(source));
    return source.GetName() + QLatin1Char('\n') +
           Line(QStringLiteral("kind"), {source.Describe(), TimeText::Clock(source.GetDuration()), size}) +
           Line(QStringLiteral("files"), FileWords(source)) + Line(QStringLiteral("format"), {one.GetFormatName()}) +
           TimecodeLine(source) + SequenceVideoLine(source, one);
}

QString Info::AsText(Source const& source, Count count)
{
    MediaInfo const& info = *source.GetWholeInfo();
    QString const size = QLocale::c().formattedDataSize(QFileInfo(info.GetFilePath()).size());
    QString text = info.GetFilePath() + QLatin1Char('\n') +
                   Line(QStringLiteral("kind"), {source.Describe(), DurationText(info), size}) +
                   Line(QStringLiteral("format"), {source.GetFormatName()}) + TimecodeLine(source) +
                   TagLines(source.GetTags());
    QList<StreamColours> const colours = StreamColours::Probe(source);
    int video = 0;
    int audio = 0;
    for (Source::Stream const& stream : source.GetStreams()) {
        if (stream.type == Source::StreamType::Video && video < info.GetNumVideoStreams())
            text += VideoLine(source, count, colours, video++);
        else if (stream.type == Source::StreamType::Audio && audio < info.GetNumAudioStreams())
            text += AudioLine(source, audio++);
    }
    return text;
}
