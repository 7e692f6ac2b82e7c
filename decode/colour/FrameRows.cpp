#include "decode/colour/FrameRows.h"

#include "decode/colour/SampleLoops.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>

namespace {

constexpr uint64_t unreadable =
    AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER;

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr bool machineIsBigEndian = true;
#else
constexpr bool machineIsBigEndian = false;
#endif

// XYZ is not RGB, and the luma samples of UYYVYY411 are not equally spaced.
bool IsOdd(int pixelFormat)
{
    return pixelFormat == AV_PIX_FMT_XYZ12LE || pixelFormat == AV_PIX_FMT_XYZ12BE ||
           pixelFormat == AV_PIX_FMT_UYYVYY411;
}

bool IsSwapped(AVPixFmtDescriptor const& format, FrameRows::Type type)
{
    return type != FrameRows::Type::Byte && ((format.flags & AV_PIX_FMT_FLAG_BE) != 0) != machineIsBigEndian;
}

// Whether a stored sample fits the type it is read as.
bool IsWithin(AVComponentDescriptor const& component, FrameRows::Type type)
{
    int const bits = 8 * FrameRows::BytesOf(type);
    return component.shift + component.depth <= bits && component.step * 8 >= bits;
}

void RepeatLast(uint8_t* target, int filled, int count, int bytes)
{
    for (int i = filled; i < count; ++i)
        std::memcpy(target + static_cast<ptrdiff_t>(i) * bytes, target + static_cast<ptrdiff_t>(filled - 1) * bytes,
                    static_cast<size_t>(bytes));
}

} // namespace

FrameRows::Shape FrameRows::ShapeOf(int pixelFormat)
{
    Shape shape;
    AVPixFmtDescriptor const* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(pixelFormat));
    if (!format || (format->flags & unreadable) != 0 || IsOdd(pixelFormat))
        return shape;
    int const planes = format->nb_components < 3 ? 1 : 3;
    int const depth = format->comp[0].depth;
    for (int i = 1; i < planes; ++i)
        if (format->comp[i].depth != depth)
            return shape;
    bool const isFloat = (format->flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    if (isFloat ? depth != 16 && depth != 32 : depth < 8 || depth > 16)
        return shape;
    if (isFloat)
        shape.type = depth == 16 ? Type::Half : Type::Float;
    else
        shape.type = depth == 8 ? Type::Byte : Type::Word;
    for (int i = 0; i < planes; ++i)
        if (!IsWithin(format->comp[i], shape.type))
            return shape;
    shape.depth = depth;
    shape.isRgb = planes == 3 && (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    shape.log2ChromaWidth = planes == 3 ? format->log2_chroma_w : 0;
    shape.log2ChromaHeight = planes == 3 ? format->log2_chroma_h : 0;
    shape.planes = planes;
    return shape;
}

int FrameRows::BytesOf(Type type)
{
    switch (type) {
    case Type::Byte:
        return 1;
    case Type::Word:
    case Type::Half:
        return 2;
    case Type::Float:
        break;
    }
    return 4;
}

FrameRows::FrameRows(AVFrame const& picture, int width, int height)
    : format(av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format))),
      shape(ShapeOf(picture.format)),
      width(width),
      height(height),
      chromaHeight(AV_CEIL_RSHIFT(height, shape.log2ChromaHeight))
{
    std::copy_n(picture.data, 4, data);
    std::copy_n(picture.linesize, 4, strides);
}

void FrameRows::TakeField(int field)
{
    for (int plane = 0; plane < 4; ++plane) {
        if (data[plane])
            data[plane] += static_cast<ptrdiff_t>(field) * strides[plane];
        strides[plane] *= 2;
    }
    height = (height - field + 1) / 2;
    chromaHeight = (chromaHeight - field + 1) / 2;
}

void FrameRows::SkipRows(int rows)
{
    for (int plane = 0; plane < 4; ++plane) {
        bool const holdsChroma = shape.planes == 3 && !shape.isRgb && plane != format->comp[0].plane;
        int const skipped = holdsChroma ? rows >> shape.log2ChromaHeight : rows;
        if (data[plane])
            data[plane] += static_cast<ptrdiff_t>(skipped) * strides[plane];
    }
    height -= rows;
    chromaHeight -= rows >> shape.log2ChromaHeight;
}

uint8_t const* FrameRows::DirectPlane(int component, size_t alignment) const
{
    AVComponentDescriptor const& layout = format->comp[component];
    bool const isPlain = layout.step == BytesOf(shape.type) && layout.offset == 0 && layout.shift == 0 &&
                         !IsSwapped(*format, shape.type);
    uint8_t const* plane = data[layout.plane];
    bool const isAligned =
        reinterpret_cast<uintptr_t>(plane) % alignment == 0 && strides[layout.plane] % static_cast<int>(alignment) == 0;
    return isPlain && isAligned ? plane : nullptr;
}

ptrdiff_t FrameRows::StrideOf(int component) const
{
    return strides[format->comp[component].plane];
}

void FrameRows::Read(int component, int row, int left, int count, void* target) const
{
    bool const isChroma = IsChroma(component);
    int const columns = isChroma ? AV_CEIL_RSHIFT(width, shape.log2ChromaWidth) : width;
    int const rows = isChroma ? chromaHeight : height;
    int const inside = std::min(count, columns - left);
    if (inside > 0) {
        ReadInside(component, std::min(row, rows - 1), left, inside, target);
        RepeatLast(static_cast<uint8_t*>(target), inside, count, BytesOf(shape.type));
    }
}

void FrameRows::ReadInside(int component, int row, int left, int count, void* target) const
{
    AVComponentDescriptor const& layout = format->comp[component];
    uint8_t const* source = data[layout.plane] + static_cast<ptrdiff_t>(row) * strides[layout.plane] +
                            static_cast<ptrdiff_t>(left) * layout.step + layout.offset;
    int const bytes = BytesOf(shape.type);
    bool const isSwapped = IsSwapped(*format, shape.type);
    if (layout.step == bytes && layout.shift == 0 && !isSwapped)
        std::memcpy(target, source, static_cast<size_t>(count) * static_cast<size_t>(bytes));
    else if (bytes == 1)
        SampleLoops::Gather8(source, layout.step, count, static_cast<uint8_t*>(target));
    else if (bytes == 2)
        SampleLoops::Gather16(source, layout.step, isSwapped, layout.shift, layout.depth, count,
                              static_cast<uint16_t*>(target));
    else
        SampleLoops::Gather32(source, layout.step, isSwapped, count, static_cast<uint32_t*>(target));
}
