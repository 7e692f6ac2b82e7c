#pragma once

// Gives one name to what FFmpeg 4.3, 5.1 and 7.1 name differently. No other file tests FFmpeg's version.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstddef>
#include <cstdint>

namespace FfmpegBridge {

#define TAVOLIN_HAS_CHANNEL_LAYOUT_TYPE (LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 28, 100))
#define TAVOLIN_HAS_SCALER_THREADS (LIBSWSCALE_VERSION_INT >= AV_VERSION_INT(6, 1, 100))

// The decoder type that av_find_best_stream returns.
#if LIBAVFORMAT_VERSION_MAJOR >= 59
using DecoderPtr = AVCodec const*;
#else
using DecoderPtr = AVCodec*;
#endif

#if TAVOLIN_HAS_CHANNEL_LAYOUT_TYPE

inline int ChannelCount(AVCodecContext const* context)
{
    return context->ch_layout.nb_channels;
}

inline int ChannelCount(AVFrame const* frame)
{
    return frame->ch_layout.nb_channels;
}

inline uint64_t MaskOf(AVChannelLayout const& layout)
{
    return layout.order == AV_CHANNEL_ORDER_NATIVE ? layout.u.mask : 0;
}

inline uint64_t ChannelLayoutMask(AVCodecContext const* context)
{
    return MaskOf(context->ch_layout);
}

inline uint64_t ChannelLayoutMask(AVFrame const* frame)
{
    return MaskOf(frame->ch_layout);
}

// The mask of the default layout for `channels` channels; 0 when there is none.
inline uint64_t DefaultChannelLayout(int channels)
{
    if (channels <= 0)
        return 0;
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, channels);
    uint64_t const mask = MaskOf(layout);
    av_channel_layout_uninit(&layout);
    return mask;
}

inline int ChannelsInLayout(uint64_t mask)
{
    AVChannelLayout layout{};
    if (mask == 0 || av_channel_layout_from_mask(&layout, mask) < 0)
        return 0;
    return layout.nb_channels;
}

// Writes the layout's name to `text`; leaves `text` alone for a mask of 0.
inline void DescribeChannelLayout(uint64_t mask, char* text, size_t size)
{
    AVChannelLayout layout{};
    if (mask != 0 && av_channel_layout_from_mask(&layout, mask) >= 0)
        av_channel_layout_describe(&layout, text, size);
    av_channel_layout_uninit(&layout);
}

inline void SetResamplerLayout(SwrContext* resampler, char const* option, uint64_t mask)
{
    AVChannelLayout layout{};
    if (mask != 0)
        av_channel_layout_from_mask(&layout, mask); // FFmpeg refuses a mask of 0; the layout then stays empty
    av_opt_set_chlayout(resampler, option, &layout, 0);
    av_channel_layout_uninit(&layout);
}

inline void SetResamplerInputLayout(SwrContext* resampler, uint64_t mask)
{
    SetResamplerLayout(resampler, "in_chlayout", mask);
}

inline void SetResamplerOutputLayout(SwrContext* resampler, uint64_t mask)
{
    SetResamplerLayout(resampler, "out_chlayout", mask);
}

#else

inline int ChannelCount(AVCodecContext const* context)
{
    return context->channels;
}

inline int ChannelCount(AVFrame const* frame)
{
    return frame->channels;
}

inline uint64_t ChannelLayoutMask(AVCodecContext const* context)
{
    return context->channel_layout;
}

inline uint64_t ChannelLayoutMask(AVFrame const* frame)
{
    return frame->channel_layout;
}

inline uint64_t DefaultChannelLayout(int channels)
{
    return static_cast<uint64_t>(av_get_default_channel_layout(channels));
}

inline int ChannelsInLayout(uint64_t mask)
{
    return av_get_channel_layout_nb_channels(mask);
}

inline void DescribeChannelLayout(uint64_t mask, char* text, size_t size)
{
    if (mask != 0)
        av_get_channel_layout_string(text, static_cast<int>(size), 0, mask);
}

inline void SetResamplerInputLayout(SwrContext* resampler, uint64_t mask)
{
    av_opt_set_int(resampler, "in_channel_layout", static_cast<int64_t>(mask), 0);
}

inline void SetResamplerOutputLayout(SwrContext* resampler, uint64_t mask)
{
    av_opt_set_int(resampler, "out_channel_layout", static_cast<int64_t>(mask), 0);
}

#endif

// Side data that the container stores for the stream, of at least `least` bytes; null when there is none of that type.
inline uint8_t const* StreamSideData(AVStream const* stream, AVPacketSideDataType type, size_t least)
{
#if LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100)
    auto const* entry =
        av_packet_side_data_get(stream->codecpar->coded_side_data, stream->codecpar->nb_coded_side_data, type);
    return entry && entry->size >= least ? entry->data : nullptr;
#elif LIBAVFORMAT_VERSION_MAJOR >= 59
    size_t size = 0;
    uint8_t const* data = av_stream_get_side_data(stream, type, &size);
    return size >= least ? data : nullptr;
#else
    int size = 0;
    uint8_t const* data = av_stream_get_side_data(stream, type, &size);
    return static_cast<size_t>(size) >= least ? data : nullptr;
#endif
}

// The display matrix (nine 32-bit numbers) that turns the stream's pictures upright; null when the stream has none.
inline int32_t const* DisplayMatrix(AVStream const* stream)
{
    return reinterpret_cast<int32_t const*>(StreamSideData(stream, AV_PKT_DATA_DISPLAYMATRIX, 36));
}

// Whether we must write the "rotate" tag of a rotated stream. FFmpeg 4's demuxer writes it; later versions do not.
constexpr bool mustWriteRotateTag = LIBAVFORMAT_VERSION_MAJOR >= 59;

// The number of entries in the container's index of the stream, as far as it has been read.
inline int IndexEntryCount(AVStream const* stream)
{
#if LIBAVFORMAT_VERSION_MAJOR >= 59
    return avformat_index_get_entries_count(stream);
#else
    return stream->nb_index_entries;
#endif
}

// `position` is from 0 to below the count. Valid until the next packet is read.
inline AVIndexEntry const* IndexEntryAt(AVStream* stream, int position)
{
#if LIBAVFORMAT_VERSION_MAJOR >= 59
    return avformat_index_get_entry(stream, position);
#else
    return &stream->index_entries[position];
#endif
}

// FFmpeg 7 does not check whether the codec is open; earlier versions do.
inline int ReceiveFrame(AVCodecContext* context, AVFrame* frame)
{
    return avcodec_is_open(context) ? avcodec_receive_frame(context, frame) : AVERROR(EINVAL);
}

// Whether the codec marks the picture as a key picture, at which decoding can begin.
inline bool IsKeyPicture(AVFrame const& picture)
{
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
    return (picture.flags & AV_FRAME_FLAG_KEY) != 0;
#else
    return picture.key_frame != 0;
#endif
}

// Whether the picture is interlaced: its rows belong to two fields.
inline bool IsInterlaced(AVFrame const* picture)
{
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
    return (picture->flags & AV_FRAME_FLAG_INTERLACED) != 0;
#else
    return picture->interlaced_frame != 0;
#endif
}

inline void MarkInterlaced(AVFrame* picture)
{
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
    picture->flags |= AV_FRAME_FLAG_INTERLACED;
#else
    picture->interlaced_frame = 1;
#endif
}

// Whether libswscale can convert slices of a picture on threads of its own.
constexpr bool hasScalerThreads = TAVOLIN_HAS_SCALER_THREADS;

// Converts the whole of `source`, on libswscale's threads where it has them. Both pictures must be reference counted.
inline int ScaleFrame(SwsContext* scaler, AVFrame* target, AVFrame const* source)
{
#if TAVOLIN_HAS_SCALER_THREADS
    return sws_scale_frame(scaler, target, source);
#else
    return sws_scale(scaler, source->data, source->linesize, 0, source->height, target->data, target->linesize);
#endif
}

#undef TAVOLIN_HAS_CHANNEL_LAYOUT_TYPE
#undef TAVOLIN_HAS_SCALER_THREADS

} // namespace FfmpegBridge
