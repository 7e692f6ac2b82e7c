#include "player/StreamColours.h"

#include "media/FfmpegPtr.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

#include <cstring>

namespace {

// The formats whose name or nature means full range; the converter takes them so without asking for tags.
bool IsFullRangeFormat(AVPixelFormat format)
{
    char const* name = av_get_pix_fmt_name(format);
    return name && (std::strncmp(name, "yuvj", 4) == 0 || std::strncmp(name, "gray", 4) == 0 ||
                    std::strncmp(name, "ya", 2) == 0);
}

StreamColours::Matrix MatrixOf(AVColorSpace space)
{
    switch (space) {
    case AVCOL_SPC_BT709:
        return StreamColours::Matrix::Bt709;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return StreamColours::Matrix::Bt2020;
    default:
        return StreamColours::Matrix::Bt601; // what is not tagged stays as it was converted
    }
}

StreamColours ColoursOf(AVCodecParameters const& parameters)
{
    StreamColours colours;
    auto const format = static_cast<AVPixelFormat>(parameters.format);
    AVPixFmtDescriptor const* descriptor = av_pix_fmt_desc_get(format);
    if (!descriptor || (descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0)
        return colours;
    colours.matrix = MatrixOf(parameters.color_space);
    colours.takenAsFullRange = IsFullRangeFormat(format);
    colours.isFullRange = parameters.color_range == AVCOL_RANGE_UNSPECIFIED
                              ? colours.takenAsFullRange
                              : parameters.color_range == AVCOL_RANGE_JPEG;
    return colours;
}

} // namespace

StreamColours StreamColours::Probe(QString const& path)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr) < 0)
        return {};
    FfmpegPtr<AVFormatContext> const context(opened);
    if (avformat_find_stream_info(context.get(), nullptr) < 0)
        return {};
    int const stream = av_find_best_stream(context.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    return stream < 0 ? StreamColours{} : ColoursOf(*context->streams[stream]->codecpar);
}
