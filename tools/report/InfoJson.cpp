#include "tools/report/Info.h"

#include "common/TimeText.h"
#include "media/MediaInfo.h"
#include "source/ImageOrientation.h"
#include "source/Source.h"
#include "source/StreamColours.h"
#include "tools/report/SequenceFiles.h"
#include "tools/report/StreamText.h"

#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

void AddTags(QJsonObject& object, QMap<QString, QString> const& tags)
{
    if (tags.isEmpty())
        return;
    QJsonObject values;
    for (auto tag = tags.begin(); tag != tags.end(); ++tag)
        values[tag.key()] = tag.value();
    object[QStringLiteral("tags")] = values;
}

// As text, as ffprobe has large numbers; not when it is unknown.
void AddNumber(QJsonObject& object, char const* key, long long number)
{
    if (number > 0)
        object[QString::fromLatin1(key)] = QString::number(number);
}

QJsonObject DescribeFormat(Source const& source)
{
    MediaInfo const& info = *source.GetWholeInfo();
    QJsonObject format{{"filename", info.GetFilePath()},
                       {"nb_streams", static_cast<int>(source.GetStreams().size())},
                       {"format_name", source.GetFormatName()},
                       {"size", QString::number(QFileInfo(info.GetFilePath()).size())}};
    if (info.GetDuration() > 0)
        format["duration"] = TimeText::Seconds(info.GetDuration());
    AddNumber(format, "bit_rate", source.GetBitRate());
    AddTags(format, source.GetTags());
    return format;
}

QJsonObject BeginStream(Source::Stream const& announced, char const* type)
{
    QJsonObject object{{"index", announced.index},
                       {"codec_name", announced.codec},
                       {"codec_tag_string", announced.tag},
                       {"codec_type", type},
                       {"disposition", QJsonObject{{"attached_pic", announced.isAttachedPicture ? 1 : 0}}},
                       {"tavolin", QJsonObject{{"valid", false}}}};
    AddNumber(object, "bit_rate", announced.bitRate);
    AddNumber(object, "nb_frames", announced.frameCount);
    return object;
}

void AddCodec(QJsonObject& object, QString const& decoderName)
{
    object["codec_name"] = StreamText::CodecName(decoderName);
    QString const longName = StreamText::CodecLongName(decoderName);
    if (!longName.isEmpty())
        object["codec_long_name"] = longName;
}

QJsonArray DescribeLight(StreamColours const& colours)
{
    QJsonArray list;
    if (!colours.masteringDisplay.isEmpty()) {
        QJsonObject display{{"side_data_type", "Mastering display metadata"}};
        for (auto value = colours.masteringDisplay.begin(); value != colours.masteringDisplay.end(); ++value)
            display[value.key()] = value.value();
        list.append(display);
    }
    if (!colours.lightLevels.isEmpty()) {
        QJsonObject levels{{"side_data_type", "Content light level metadata"}};
        for (auto value = colours.lightLevels.begin(); value != colours.lightLevels.end(); ++value)
            levels[value.key()] = value.value();
        list.append(levels);
    }
    return list;
}

// Only what the stream says.
void AddColours(QJsonObject& object, StreamColours const& colours)
{
    std::pair<char const*, QString> const values[] = {
        {"pix_fmt", colours.pixelFormat},       {"color_range", colours.range},
        {"color_space", colours.matrix},        {"color_transfer", colours.transfer},
        {"color_primaries", colours.primaries}, {"chroma_location", colours.chromaLocation},
        {"field_order", colours.fieldOrder},
    };
    for (auto const& [key, value] : values)
        if (!value.isEmpty())
            object[QString::fromLatin1(key)] = value;
    QJsonArray const light = DescribeLight(colours);
    if (!light.isEmpty())
        object["side_data_list"] = light;
}

QJsonObject DescribeVideo(Source::Stream const& announced, VideoStream const& stream, StreamColours const& colours)
{
    QJsonObject object = BeginStream(announced, "video");
    AddColours(object, colours);
    if (!stream.valid)
        return object;
    AddCodec(object, stream.codecName);
    object["index"] = stream.streamIndex;
    object["width"] = stream.width;
    object["height"] = stream.height;
    object["sample_aspect_ratio"] = StreamText::AspectRatio(stream);
    object["avg_frame_rate"] = StreamText::FrameRate(stream);
    QJsonObject own{{"valid", true},
                    {"decoder", stream.codecName},
                    {"pixel_aspect_ratio", static_cast<double>(stream.pixelAspectRatio)},
                    {"start_time_us", stream.startTime},
                    {"frame_step_us", stream.frameStep},
                    {"frame_rate", stream.frameRate},
                    {"frame_count", stream.numFrames},
                    {"codec_delay", stream.codecDelay}};
    if (!colours.conversion.isEmpty())
        own["conversion"] = colours.conversion;
    object["tavolin"] = own;
    AddTags(object, stream.metadata);
    return object;
}

QJsonObject DescribeAudio(Source::Stream const& announced, AudioStream const& stream)
{
    QJsonObject object = BeginStream(announced, "audio");
    if (!stream.valid)
        return object;
    AddCodec(object, stream.codecName);
    object["index"] = stream.streamIndex;
    object["sample_fmt"] = StreamText::SampleFormat(stream);
    object["sample_rate"] = QString::number(stream.sampleRate);
    object["channels"] = stream.channels;
    QString const layout = StreamText::ChannelLayout(stream);
    if (!layout.isEmpty())
        object["channel_layout"] = layout;
    object["tavolin"] = QJsonObject{{"valid", true},
                                    {"decoder", stream.codecName},
                                    {"channel_layout_mask", QString::number(stream.channelLayout)},
                                    {"is_planar", stream.isPlanar},
                                    {"bytes_per_sample", stream.bytesPerSample}};
    AddTags(object, stream.metadata);
    return object;
}

// Of the pictures, to our own values; not when it is unknown.
void AddCount(QJsonObject& object, Info::Count count)
{
    if (!count)
        return;
    QJsonObject own = object["tavolin"].toObject();
    own["picture_count"] = *count;
    object["tavolin"] = own;
}

// Both kinds in the container's order.
QJsonArray DescribeStreams(Source const& source, Info::Count count)
{
    MediaInfo const& info = *source.GetWholeInfo();
    QList<StreamColours> const colours = StreamColours::Probe(source);
    std::vector<std::pair<int, QJsonObject>> streams;
    for (int i = 0; i < info.GetNumVideoStreams(); ++i) {
        auto const announced = source.GetStream(Source::StreamType::Video, i);
        QJsonObject stream =
            DescribeVideo(announced, info.GetVideoStreams()[i], StreamColours::Of(announced.index, colours));
        if (announced.index == source.GetPictureStream())
            AddCount(stream, count);
        streams.emplace_back(announced.index, stream);
    }
    for (int i = 0; i < info.GetNumAudioStreams(); ++i) {
        auto const announced = source.GetStream(Source::StreamType::Audio, i);
        streams.emplace_back(announced.index, DescribeAudio(announced, info.GetAudioStreams()[i]));
    }
    std::stable_sort(streams.begin(), streams.end(),
                     [](auto const& left, auto const& right) { return left.first < right.first; });
    QJsonArray array;
    for (auto const& stream : streams)
        array.append(stream.second);
    return array;
}

QJsonObject DescribeOwnValues(Source const& source)
{
    MediaInfo const& info = *source.GetWholeInfo();
    auto const orientation = info.IsImage() ? ImageOrientation::Of(source.GetPath()) : ImageOrientation();
    QJsonObject own{{"schema", Info::schemaVersion},
                    {"kind", source.Describe()},
                    {"is_image", info.IsImage()},
                    {"is_linear_color_space", info.IsLinearColorSpace()},
                    {"duration_us", info.GetDuration()},
                    {"start_time_us", info.GetStartTime()},
                    {"frame_step_us", info.GetFrameStep()},
                    {"frame_rate", info.GetFrameRate()},
                    {"frame_count", info.GetNumFrames()},
                    {"width", info.GetVideoWidth()},
                    {"height", info.GetVideoHeight()},
                    {"is_video_rotated", info.IsVideoRotated() || orientation.rotation % 180 != 0},
                    {"is_video_mirrored", orientation.isMirrored}};
    if (!source.GetStartTimecode().text.isEmpty())
        own["timecode"] = source.GetStartTimecode().text;
    return own;
}

QJsonObject DescribeFormatOfSequence(Source const& source, Source const& one)
{
    return {{"filename", source.GetName()},
            {"nb_streams", 1},
            {"format_name", one.GetFormatName()},
            {"size", QString::number(SequenceFiles::GetBytes(source))},
            {"duration", TimeText::Seconds(source.GetDuration())}};
}

// Of the stream that is decoded, timed as the sequence is.
QJsonObject DescribeStreamOfSequence(Source const& source, Source const& one)
{
    QJsonArray const streams = DescribeStreams(one, std::nullopt);
    QJsonObject object;
    for (auto const& value : streams) {
        object = value.toObject();
        if (object["index"].toInt() == one.GetPictureStream())
            break;
    }
    VideoStream timed;
    timed.frameRate = source.GetSequenceRate();
    object["avg_frame_rate"] = StreamText::FrameRate(timed);
    QJsonObject own = object["tavolin"].toObject();
    own["frame_rate"] = source.GetSequenceRate();
    own["frame_step_us"] = source.GetFrameStep();
    own["frame_count"] = source.GetSequence().GetFiles().size();
    own["picture_count"] = source.GetSequence().GetFiles().size();
    object["tavolin"] = own;
    return object;
}

QJsonArray DescribeHoles(Source const& source)
{
    QJsonArray holes;
    for (SequenceFiles::Hole const& hole : SequenceFiles::FindHoles(source))
        holes.append(QJsonObject{{"first_number", hole.first}, {"last_number", hole.last}});
    return holes;
}

QJsonObject DescribeSequence(Source const& source)
{
    QStringList const files = source.GetSequence().GetFiles();
    long long const first = source.GetFirstNumber();
    return {{"first_number", first},
            {"last_number", first + source.GetSequence().GetCount() - 1},
            {"first_file", files.first()},
            {"last_file", files.last()},
            {"missing", DescribeHoles(source)}};
}

} // namespace

QJsonObject Info::SequenceAsJson(Source const& source, Source const& one)
{
    QJsonObject own = DescribeOwnValues(one);
    own["kind"] = source.Describe();
    own["is_image"] = false;
    own["duration_us"] = source.GetDuration();
    own["frame_step_us"] = source.GetFrameStep();
    own["frame_rate"] = source.GetSequenceRate();
    own["frame_count"] = source.GetSequence().GetFiles().size();
    own["sequence"] = DescribeSequence(source);
    return {{"format", DescribeFormatOfSequence(source, one)},
            {"streams", QJsonArray{DescribeStreamOfSequence(source, one)}},
            {"tavolin", own}};
}

QJsonObject Info::AsJson(Source const& source, Count count)
{
    return {{"format", DescribeFormat(source)},
            {"streams", DescribeStreams(source, count)},
            {"tavolin", DescribeOwnValues(source)}};
}

QJsonObject Info::FailureAsJson(QString const& path, QString const& message, int code)
{
    return {{"format", QJsonObject{{"filename", path}}},
            {"error", QJsonObject{{"code", code}, {"string", message}}},
            {"tavolin", QJsonObject{{"schema", Info::schemaVersion}}}};
}
