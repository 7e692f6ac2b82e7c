#include "decode/PictureScaler.h"

#include "decode/RowBytes.h"
#include "media/FfmpegBridge.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// libswscale's fast converters write up to this many pixels per step. If a row has no room for the last step, they
// leave its last columns unwritten or write into the next row, depending on the width.
constexpr int pixelsPerStep = 16;

// Slice threads cost half a millisecond to start, for every file of an image sequence, and some time to wake. Below
// this many pixels they cost more than they save.
constexpr long long pixelsWorthThreads = 500000;

// A libswscale brightness of half a step: its quick converters then round limited range instead of truncating.
constexpr int halfAStep = 128;

constexpr long long RoundUp(long long value, long long step)
{
    return (value + step - 1) / step * step;
}

bool HasRoom(PictureScaler::Layout const& layout)
{
    return RoundUp(layout.outputWidth, pixelsPerStep) * bytesPerPixel <= layout.outputStride;
}

// Whether libswscale has a special converter, as fast as memory: for 8-bit RGB and planar 8-bit 4:2:0 and 4:2:2 of
// unchanged width. Everything else takes its general path, ten times slower.
bool IsQuick(PictureScaler::Layout const& layout)
{
    AVPixFmtDescriptor const* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(layout.format));
    if (!format || layout.outputWidth != layout.width || format->comp[0].depth > 8)
        return false;
    bool const isRgb = (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    bool const hasOwnPlanes = format->comp[1].plane == 1 && format->comp[2].plane == 2;
    return isRgb || (hasOwnPlanes && format->log2_chroma_w == 1);
}

bool IsWorthThreads(PictureScaler::Layout const& layout)
{
    bool const isLarge = static_cast<long long>(layout.outputWidth) * layout.outputHeight >= pixelsWorthThreads;
    return FfmpegBridge::hasScalerThreads && isLarge && !IsQuick(layout);
}

FfmpegPtr<SwsContext> MakeContext(PictureScaler::Layout const& layout, int threads)
{
    FfmpegPtr<SwsContext> context(sws_alloc_context());
    if (!context)
        return nullptr;
    // A refused option would keep its default, and the conversion would misread the picture.
    auto const set = [&context](char const* option, int64_t value) {
        return av_opt_set_int(context.get(), option, value, 0) >= 0;
    };
    if (!set("srcw", layout.width) || !set("srch", layout.height) || !set("src_format", layout.format) ||
        !set("dstw", layout.outputWidth) || !set("dsth", layout.outputHeight) || !set("dst_format", AV_PIX_FMT_RGB24) ||
        !set("sws_flags", SWS_BILINEAR))
        return nullptr;
    if (threads > 1)
        av_opt_set_int(context.get(), "threads", threads, 0);
    if (sws_init_context(context.get(), nullptr, nullptr) < 0)
        return nullptr;
    if (layout.matrix >= 0) {
        int const* const coefficients = sws_getCoefficients(layout.matrix);
        int const brightness = layout.isFullRange ? 0 : halfAStep;
        // Fails for RGB, which has no such details; that is harmless.
        sws_setColorspaceDetails(context.get(), coefficients, layout.isFullRange, coefficients, 1, brightness, 1 << 16,
                                 1 << 16);
    }
    return context;
}

void CopyRows(uint8_t const* source, size_t sourceStride, uint8_t* target, PictureScaler::Layout const& layout)
{
    auto const used = static_cast<size_t>(layout.outputWidth) * bytesPerPixel;
    for (int row = 0; row < layout.outputHeight; ++row) {
        std::memcpy(target, source, used);
        source += sourceStride;
        target += layout.outputStride;
    }
}

void KeepBuffer(void*, uint8_t*) {} // the reference does not own the memory

} // namespace

void PictureScaler::SetMostThreads(int threads)
{
    mostThreads = std::max(threads, 1);
}

bool PictureScaler::CanConvert(Layout const& layout)
{
    return Prepare(layout);
}

bool PictureScaler::Convert(AVFrame& source, Layout const& layout, uint8_t* target)
{
    if (!Prepare(layout))
        return false;
    if (HasRoom(layout)) {
        if (!ConvertTo(source, layout, target, layout.outputStride))
            return false;
    } else {
        auto const stride = RoundUp(layout.outputWidth + pixelsPerStep, 64) * bytesPerPixel;
        auto const size = static_cast<size_t>(stride * layout.outputHeight);
        if (roomySize != size) {
            roomyRows.reset(new (std::nothrow) uint8_t[size]);
            roomySize = roomyRows ? size : 0;
        }
        if (!roomyRows || !ConvertTo(source, layout, roomyRows.get(), static_cast<int>(stride)))
            return false;
        CopyRows(roomyRows.get(), static_cast<size_t>(stride), target, layout);
    }
    ClearPadding(layout, target);
    return true;
}

bool PictureScaler::Prepare(Layout const& layout)
{
    int const threads = IsWorthThreads(layout) ? mostThreads : 1;
    bool const fits = context && threads == preparedThreads && layout.width == prepared.width &&
                      layout.height == prepared.height && layout.format == prepared.format &&
                      layout.outputWidth == prepared.outputWidth && layout.outputHeight == prepared.outputHeight &&
                      layout.matrix == prepared.matrix && layout.isFullRange == prepared.isFullRange;
    if (fits)
        return true;
    context = MakeContext(layout, threads);
    prepared = layout;
    preparedThreads = threads;
    return context != nullptr;
}

bool PictureScaler::ConvertTo(AVFrame& source, Layout const& layout, uint8_t* target, int stride)
{
    if (preparedThreads == 1) {
        uint8_t* const planes[4] = {target};
        int const strides[4] = {stride};
        return sws_scale(context.get(), source.data, source.linesize, 0, layout.height, planes, strides) >= 0;
    }
    FfmpegPtr<AVFrame> picture(av_frame_alloc());
    if (!picture)
        return false;
    auto const size = static_cast<long long>(stride) * layout.outputHeight;
    picture->buf[0] = av_buffer_create(target, static_cast<size_t>(size), KeepBuffer, nullptr, 0);
    if (!picture->buf[0])
        return false;
    picture->data[0] = target;
    picture->linesize[0] = stride;
    picture->width = layout.outputWidth;
    picture->height = layout.outputHeight;
    picture->format = AV_PIX_FMT_RGB24;
    source.width = layout.width;
    source.height = layout.height;
    return FfmpegBridge::ScaleFrame(context.get(), picture.get(), &source) >= 0;
}

void PictureScaler::ClearPadding(Layout const& layout, uint8_t* target)
{
    auto const used = static_cast<size_t>(layout.outputWidth) * bytesPerPixel;
    auto const stride = static_cast<size_t>(layout.outputStride);
    if (used == stride)
        return;
    for (int row = 0; row < layout.outputHeight; ++row)
        std::memset(target + row * stride + used, 0, stride - used);
}
