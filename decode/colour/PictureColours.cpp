#include "decode/colour/PictureColours.h"

#include "media/FfmpegBridge.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>

namespace {

constexpr int linesOfHighDefinition = 720;

constexpr double usualPeak = 1000.0;    // cd/m2, for content that states none
constexpr double highestPeak = 10000.0; // cd/m2, the highest value of PQ

bool IsJpegFormat(int format)
{
    switch (format) {
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
        return true;
    default:
        return false;
    }
}

bool IsHdrTransfer(AVColorTransferCharacteristic transfer)
{
    return transfer == AVCOL_TRC_SMPTE2084 || transfer == AVCOL_TRC_ARIB_STD_B67;
}

AVColorSpace MatrixOf(AVFrame const& picture)
{
    switch (picture.colorspace) {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_FCC:
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_SMPTE240M:
    case AVCOL_SPC_YCGCO:
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
    case AVCOL_SPC_CHROMA_DERIVED_NCL:
    case AVCOL_SPC_CHROMA_DERIVED_CL:
    case AVCOL_SPC_ICTCP:
        return picture.colorspace;
    default:
        break;
    }
    if (picture.color_primaries == AVCOL_PRI_BT2020 || IsHdrTransfer(picture.color_trc))
        return AVCOL_SPC_BT2020_NCL;
    return picture.height >= linesOfHighDefinition ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

bool IsFullRange(AVFrame const& picture, AVPixFmtDescriptor const& format)
{
    if ((format.flags & AV_PIX_FMT_FLAG_RGB) != 0 || IsJpegFormat(picture.format))
        return true;
    bool const isGrey = format.nb_components < 3;
    return picture.color_range == AVCOL_RANGE_JPEG || (isGrey && picture.color_range == AVCOL_RANGE_UNSPECIFIED);
}

AVChromaLocation ChromaLocationOf(AVFrame const& picture)
{
    if (picture.chroma_location != AVCHROMA_LOC_UNSPECIFIED && picture.chroma_location <= AVCHROMA_LOC_BOTTOM)
        return picture.chroma_location;
    return IsJpegFormat(picture.format) ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
}

// The arguments are FFmpeg's structures, or null.
double PeakOf(uint8_t const* contentLight, uint8_t const* masteringDisplay)
{
    auto const* levels = reinterpret_cast<AVContentLightMetadata const*>(contentLight);
    if (levels && levels->MaxCLL > 0)
        return levels->MaxCLL;
    auto const* display = reinterpret_cast<AVMasteringDisplayMetadata const*>(masteringDisplay);
    if (display && display->has_luminance && display->max_luminance.num > 0 && display->max_luminance.den > 0)
        return av_q2d(display->max_luminance);
    return 0.0;
}

} // namespace

PictureColours PictureColours::Of(AVFrame const& picture, double statedPeak)
{
    PictureColours colours;
    AVPixFmtDescriptor const* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (!format)
        return colours;
    colours.matrix = MatrixOf(picture);
    colours.transfer = picture.color_trc;
    colours.primaries = picture.color_primaries;
    if (colours.IsHdr() && (colours.primaries == AVCOL_PRI_UNSPECIFIED || colours.primaries == AVCOL_PRI_RESERVED0))
        colours.primaries = AVCOL_PRI_BT2020;
    colours.chromaLocation = ChromaLocationOf(picture);
    colours.isFullRange = IsFullRange(picture, *format);
    colours.isInterlaced = FfmpegBridge::IsInterlaced(&picture) && format->log2_chroma_h > 0;
    if (colours.IsHdr()) {
        double const ownPeak = StatedPeak(picture);
        double const peak = ownPeak > 0.0 ? ownPeak : statedPeak;
        // HLG is rendered for a display of the usual peak, so its light never exceeds that.
        double const limit = colours.transfer == AVCOL_TRC_ARIB_STD_B67 ? usualPeak : highestPeak;
        colours.peak = std::min(peak > 0.0 ? peak : usualPeak, limit);
    }
    return colours;
}

double PictureColours::StatedPeak(AVFrame const& picture)
{
    AVFrameSideData const* levels = av_frame_get_side_data(&picture, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
    AVFrameSideData const* display = av_frame_get_side_data(&picture, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
    return PeakOf(levels ? levels->data : nullptr, display ? display->data : nullptr);
}

double PictureColours::StatedPeak(AVStream const& stream)
{
    return PeakOf(
        FfmpegBridge::StreamSideData(&stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata)),
        FfmpegBridge::StreamSideData(&stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                     sizeof(AVMasteringDisplayMetadata)));
}

bool PictureColours::IsHdr() const
{
    return IsHdrTransfer(transfer);
}

bool PictureColours::HasOtherPrimaries() const
{
    switch (primaries) {
    case AVCOL_PRI_BT470M:
    case AVCOL_PRI_BT470BG:
    case AVCOL_PRI_SMPTE170M:
    case AVCOL_PRI_SMPTE240M:
    case AVCOL_PRI_FILM:
    case AVCOL_PRI_BT2020:
    case AVCOL_PRI_SMPTE428:
    case AVCOL_PRI_SMPTE431:
    case AVCOL_PRI_SMPTE432:
    case AVCOL_PRI_JEDEC_P22:
        return true;
    default:
        return false;
    }
}
