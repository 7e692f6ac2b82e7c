#include "source/StreamColours.h"

#include "decode/DecodedVideoFrame.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/Source.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

namespace {

constexpr int mostPackets = 500; // read for the first picture of a stream

QString Known(char const* name)
{
    QString const text = QString::fromLatin1(name);
    bool const isKnown = !text.isEmpty() && text != QLatin1String("unknown") && text != QLatin1String("unspecified");
    return isKnown ? text : QString();
}

// As ffprobe has it: which field is coded first, and which is shown first.
QString FieldOrderOf(AVFieldOrder order)
{
    switch (order) {
    case AV_FIELD_PROGRESSIVE:
        return QStringLiteral("progressive");
    case AV_FIELD_TT:
        return QStringLiteral("tt");
    case AV_FIELD_BB:
        return QStringLiteral("bb");
    case AV_FIELD_TB:
        return QStringLiteral("tb");
    case AV_FIELD_BT:
        return QStringLiteral("bt");
    default:
        return {};
    }
}

QString Fraction(AVRational value)
{
    return QStringLiteral("%1/%2").arg(value.num).arg(value.den);
}

void AddMasteringDisplay(uint8_t const* data, StreamColours& colours)
{
    auto const* display = reinterpret_cast<AVMasteringDisplayMetadata const*>(data);
    if (!display)
        return;
    if (display->has_primaries) {
        char const* const names[] = {"red", "green", "blue"};
        for (int i = 0; i < 3; ++i) {
            colours.masteringDisplay[QString::fromLatin1(names[i]) + "_x"] = Fraction(display->display_primaries[i][0]);
            colours.masteringDisplay[QString::fromLatin1(names[i]) + "_y"] = Fraction(display->display_primaries[i][1]);
        }
        colours.masteringDisplay["white_point_x"] = Fraction(display->white_point[0]);
        colours.masteringDisplay["white_point_y"] = Fraction(display->white_point[1]);
    }
    if (display->has_luminance) {
        colours.masteringDisplay["min_luminance"] = Fraction(display->min_luminance);
        colours.masteringDisplay["max_luminance"] = Fraction(display->max_luminance);
    }
}

void AddLightLevels(uint8_t const* data, StreamColours& colours)
{
    auto const* levels = reinterpret_cast<AVContentLightMetadata const*>(data);
    if (!levels)
        return;
    colours.lightLevels["max_content"] = static_cast<int>(levels->MaxCLL);
    colours.lightLevels["max_average"] = static_cast<int>(levels->MaxFALL);
}

FfmpegPtr<AVCodecContext> OpenDecoder(AVStream const& stream)
{
    FfmpegPtr<AVCodecContext> context(avcodec_alloc_context3(nullptr));
    if (!context || avcodec_parameters_to_context(context.get(), stream.codecpar) < 0 ||
        avcodec_open2(context.get(), avcodec_find_decoder(stream.codecpar->codec_id), nullptr) < 0)
        return nullptr;
    return context;
}

// What the first picture says itself, which counts more than what the container says.
void AddFromFirstPicture(Source const& source, StreamColours& colours)
{
    AVFormatContext* format = nullptr;
    if (!MediaReader::OpenInput(source.GetWholeInfo(), &format))
        return;
    FfmpegPtr<AVFormatContext> const input(format);
    avformat_find_stream_info(format, nullptr);
    if (colours.index >= static_cast<int>(format->nb_streams))
        return; // the file is not what it was
    auto const decoder = OpenDecoder(*format->streams[colours.index]);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    FfmpegPtr<AVFrame> const frame(av_frame_alloc());
    if (!decoder || !packet || !frame)
        return;
    int received = AVERROR(EAGAIN);
    for (int i = 0; i < mostPackets && received == AVERROR(EAGAIN) && av_read_frame(format, packet.get()) >= 0; ++i) {
        if (packet->stream_index == colours.index && avcodec_send_packet(decoder.get(), packet.get()) >= 0)
            received = avcodec_receive_frame(decoder.get(), frame.get());
        av_packet_unref(packet.get());
    }
    if (received < 0)
        return;
    if (auto const* data = av_frame_get_side_data(frame.get(), AV_FRAME_DATA_MASTERING_DISPLAY_METADATA))
        AddMasteringDisplay(data->data, colours);
    if (auto const* data = av_frame_get_side_data(frame.get(), AV_FRAME_DATA_CONTENT_LIGHT_LEVEL))
        AddLightLevels(data->data, colours);
}

// As the library tells after the first picture of the stream that it decodes.
QString ConversionOf(Source const& source)
{
    Source asStream = source;
    ColourSettings colours;
    colours.followStream = true;
    asStream.SetColours(colours);
    auto const pictures = asStream.OpenPictures();
    PictureStream::Picture picture;
    bool const isRead = pictures && pictures->Read(picture) == ReadResult::Got;
    return isRead ? pictures->DescribeColours().section(QStringLiteral(", "), 1) : QString();
}

} // namespace

StreamColours StreamColours::Tagged(AVStream const& stream)
{
    AVCodecParameters const& parameters = *stream.codecpar;
    StreamColours colours;
    colours.index = stream.index;
    colours.pixelFormat = Known(av_get_pix_fmt_name(static_cast<AVPixelFormat>(parameters.format)));
    colours.range = Known(av_color_range_name(parameters.color_range));
    colours.matrix = Known(av_color_space_name(parameters.color_space));
    colours.transfer = Known(av_color_transfer_name(parameters.color_trc));
    colours.primaries = Known(av_color_primaries_name(parameters.color_primaries));
    colours.chromaLocation = Known(av_chroma_location_name(parameters.chroma_location));
    colours.fieldOrder = FieldOrderOf(parameters.field_order);
    AddMasteringDisplay(FfmpegBridge::StreamSideData(&stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                                     sizeof(AVMasteringDisplayMetadata)),
                        colours);
    AddLightLevels(
        FfmpegBridge::StreamSideData(&stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata)),
        colours);
    return colours;
}

bool StreamColours::IsHdr() const
{
    return transfer == QLatin1String("smpte2084") || transfer == QLatin1String("arib-std-b67");
}

StreamColours StreamColours::Of(int index, QList<StreamColours> const& all)
{
    for (StreamColours const& colours : all)
        if (colours.index == index)
            return colours;
    return {};
}

QList<StreamColours> StreamColours::Probe(Source const& source)
{
    QList<StreamColours> all = source.GetTaggedColours();
    for (StreamColours& colours : all) {
        if (!colours.IsHdr())
            continue;
        AddFromFirstPicture(source, colours);
        if (colours.index == source.GetPictureStream())
            colours.conversion = ConversionOf(source);
    }
    return all;
}
