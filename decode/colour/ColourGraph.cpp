#include "decode/colour/ColourGraph.h"

#include "decode/colour/LightMap.h"

#include <zimg.h>

#include <algorithm>

namespace {

constexpr int RoundUp(int value, int log2Step)
{
    return ((value - 1) >> log2Step << log2Step) + (1 << log2Step);
}

zimg_pixel_type_e PixelTypeOf(FrameRows::Type type)
{
    switch (type) {
    case FrameRows::Type::Byte:
        return ZIMG_PIXEL_BYTE;
    case FrameRows::Type::Word:
        return ZIMG_PIXEL_WORD;
    case FrameRows::Type::Half:
        return ZIMG_PIXEL_HALF;
    case FrameRows::Type::Float:
        break;
    }
    return ZIMG_PIXEL_FLOAT;
}

zimg_field_parity_e ParityOf(ColourGraph::Scan scan)
{
    switch (scan) {
    case ColourGraph::Scan::TopField:
        return ZIMG_FIELD_TOP;
    case ColourGraph::Scan::BottomField:
        return ZIMG_FIELD_BOTTOM;
    case ColourGraph::Scan::Progressive:
        break;
    }
    return ZIMG_FIELD_PROGRESSIVE;
}

// zimg numbers matrices, transfers and primaries as ITU-T H.273 and FFmpeg do.
zimg_image_format SourceFormat(ColourGraph::Kind const& kind, FrameRows::Shape const& shape)
{
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(RoundUp(kind.width, shape.log2ChromaWidth));
    format.height = static_cast<unsigned>(RoundUp(kind.height, shape.log2ChromaHeight));
    format.pixel_type = PixelTypeOf(shape.type);
    format.depth = static_cast<unsigned>(shape.depth);
    format.pixel_range = kind.isFullRange ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
    format.field_parity = ParityOf(kind.scan);
    if (kind.outputWidth != kind.width) {
        format.active_region.width = kind.width;
    }
    if (shape.planes == 1)
        return format;
    format.color_family = shape.isRgb ? ZIMG_COLOR_RGB : ZIMG_COLOR_YUV;
    format.matrix_coefficients = shape.isRgb ? ZIMG_MATRIX_RGB : static_cast<zimg_matrix_coefficients_e>(kind.matrix);
    format.subsample_w = static_cast<unsigned>(shape.log2ChromaWidth);
    format.subsample_h = static_cast<unsigned>(shape.log2ChromaHeight);
    format.chroma_location = static_cast<zimg_chroma_location_e>(kind.chromaLocation - AVCHROMA_LOC_LEFT);
    if (kind.transfer != AVCOL_TRC_UNSPECIFIED)
        format.transfer_characteristics = static_cast<zimg_transfer_characteristics_e>(kind.transfer);
    if (kind.primaries != AVCOL_PRI_UNSPECIFIED)
        format.color_primaries = static_cast<zimg_color_primaries_e>(kind.primaries);
    return format;
}

zimg_image_format TargetFormat(ColourGraph::Kind const& kind, zimg_image_format const& source)
{
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = kind.outputWidth != kind.width ? static_cast<unsigned>(kind.outputWidth) : source.width;
    format.height = source.height;
    switch (kind.output) {
    case ColourGraph::Output::Bytes:
        format.pixel_type = ZIMG_PIXEL_BYTE;
        format.depth = 8;
        break;
    case ColourGraph::Output::Words:
        format.pixel_type = ZIMG_PIXEL_WORD;
        format.depth = LightMap::depth;
        break;
    case ColourGraph::Output::Floats:
        format.pixel_type = ZIMG_PIXEL_FLOAT;
        format.depth = 32;
        break;
    }
    format.pixel_range = ZIMG_RANGE_FULL;
    format.field_parity = source.field_parity;
    if (source.color_family == ZIMG_COLOR_GREY)
        return format;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.transfer_characteristics = source.transfer_characteristics;
    format.color_primaries = source.color_primaries;
    return format;
}

size_t BytesOf(ColourGraph::Output output)
{
    switch (output) {
    case ColourGraph::Output::Bytes:
        return 1;
    case ColourGraph::Output::Words:
        return 2;
    case ColourGraph::Output::Floats:
        break;
    }
    return 4;
}

size_t AlignedStride(size_t bytes)
{
    return (bytes + AlignedBytes::alignment - 1) / AlignedBytes::alignment * AlignedBytes::alignment;
}

// The ring of rows of each plane through which zimg reads or writes.
struct Ring
{
    size_t rows;
    unsigned mask;

    // `count`: rows that zimg needs; `height`: rows of the picture.
    Ring(unsigned count, unsigned height) : rows(height), mask(zimg_select_buffer_mask(count))
    {
        if (mask == ZIMG_BUFFER_MAX || mask + 1 >= height)
            mask = ZIMG_BUFFER_MAX;
        else
            rows = mask + 1;
    }
};

// Source and sink of one conversion; zimg's callbacks for rows.
struct Ends
{
    FrameRows const* source;
    FrameRows::Shape shape;
    RowSink* sink;
    zimg_image_buffer input;
    zimg_image_buffer output;
    size_t outputBytes; // of a sample

    static uint8_t* RowOf(zimg_image_buffer const& buffer, int plane, unsigned row)
    {
        auto const& place = buffer.plane[plane];
        return static_cast<uint8_t*>(place.data) + static_cast<ptrdiff_t>(row & place.mask) * place.stride;
    }

    void ReadRow(int plane, unsigned row, unsigned left, unsigned right)
    {
        auto const bytes = static_cast<size_t>(FrameRows::BytesOf(shape.type));
        source->Read(plane, static_cast<int>(row), static_cast<int>(left), static_cast<int>(right - left),
                     RowOf(input, plane, row) + left * bytes);
    }

    static int Unpack(void* user, unsigned row, unsigned left, unsigned right)
    {
        Ends& ends = *static_cast<Ends*>(user);
        FrameRows::Shape const& shape = ends.shape;
        for (unsigned i = 0; i < 1u << shape.log2ChromaHeight; ++i)
            ends.ReadRow(0, row + i, left, right);
        bool const hasOwnChroma = shape.planes == 3 && !shape.isRgb;
        int const log2Width = hasOwnChroma ? shape.log2ChromaWidth : 0;
        for (int plane = 1; plane < shape.planes; ++plane)
            ends.ReadRow(plane, row >> shape.log2ChromaHeight, left >> log2Width,
                         (right + (1u << log2Width) - 1) >> log2Width);
        return 0;
    }

    static int Pack(void* user, unsigned row, unsigned left, unsigned right)
    {
        Ends& ends = *static_cast<Ends*>(user);
        void const* planes[3];
        for (int plane = 0; plane < 3; ++plane)
            planes[plane] = RowOf(ends.output, ends.shape.planes == 3 ? plane : 0, row) + left * ends.outputBytes;
        ends.sink->Take(static_cast<int>(row), static_cast<int>(left), static_cast<int>(right - left), planes);
        return 0;
    }
};

zimg_image_buffer_const Constant(zimg_image_buffer const& buffer)
{
    zimg_image_buffer_const constant;
    constant.version = buffer.version;
    for (int plane = 0; plane < 4; ++plane) {
        constant.plane[plane].data = buffer.plane[plane].data;
        constant.plane[plane].stride = buffer.plane[plane].stride;
        constant.plane[plane].mask = buffer.plane[plane].mask;
    }
    return constant;
}

// Lets zimg read the picture's own planes; false when the samples must be unpacked first.
bool PointInto(FrameRows const& rows, FrameRows::Shape const& shape, zimg_image_buffer& buffer)
{
    for (int plane = 0; plane < shape.planes; ++plane) {
        uint8_t const* data = rows.DirectPlane(plane, AlignedBytes::alignment / 2);
        if (!data)
            return false;
        buffer.plane[plane].data = const_cast<uint8_t*>(data);
        buffer.plane[plane].stride = rows.StrideOf(plane);
        buffer.plane[plane].mask = ZIMG_BUFFER_MAX;
    }
    return true;
}

// Divides `memory` into a ring for each plane.
bool Divide(AlignedBytes& memory, zimg_image_buffer& buffer, int planes, size_t stride, Ring const& ring,
            int log2ChromaHeight)
{
    uint8_t* next = memory.Get(static_cast<size_t>(planes) * stride * ring.rows);
    if (!next)
        return false;
    for (int plane = 0; plane < planes; ++plane) {
        buffer.plane[plane].data = next;
        buffer.plane[plane].stride = static_cast<ptrdiff_t>(stride);
        buffer.plane[plane].mask =
            ring.mask == ZIMG_BUFFER_MAX || plane == 0 ? ring.mask : ring.mask >> log2ChromaHeight;
        next += stride * ring.rows;
    }
    return true;
}

} // namespace

bool ColourGraph::IsAvailable()
{
    return true;
}

std::unique_ptr<ColourGraph> ColourGraph::Make(Kind const& kind)
{
    FrameRows::Shape const shape = FrameRows::ShapeOf(kind.format);
    if (shape.planes == 0 || kind.width < 1 || kind.height < 1 || kind.outputWidth < 1)
        return nullptr;
    zimg_image_format const source = SourceFormat(kind, shape);
    zimg_image_format const target = TargetFormat(kind, source);
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter = ZIMG_RESIZE_BILINEAR;
    parameters.resample_filter_uv = ZIMG_RESIZE_BILINEAR;
    parameters.cpu_type = ZIMG_CPU_AUTO;
    zimg_filter_graph* graph = zimg_filter_graph_build(&source, &target, &parameters);
    return graph ? std::unique_ptr<ColourGraph>(new ColourGraph(kind, graph)) : nullptr;
}

ColourGraph::ColourGraph(Kind const& kind, zimg_filter_graph* graph)
    : kind(kind), shape(FrameRows::ShapeOf(kind.format)), graph(graph)
{}

ColourGraph::~ColourGraph()
{
    zimg_filter_graph_free(graph);
}

bool ColourGraph::Process(FrameRows const& rows, Memory& memory, RowSink& sink) const
{
    zimg_image_format const source = SourceFormat(kind, shape);
    zimg_image_format const target = TargetFormat(kind, source);
    size_t graphBytes = 0;
    unsigned inputRows = 0;
    unsigned outputRows = 0;
    if (zimg_filter_graph_get_tmp_size(graph, &graphBytes) != ZIMG_ERROR_SUCCESS ||
        zimg_filter_graph_get_input_buffering(graph, &inputRows) != ZIMG_ERROR_SUCCESS ||
        zimg_filter_graph_get_output_buffering(graph, &outputRows) != ZIMG_ERROR_SUCCESS)
        return false;

    Ends ends{&rows, shape, &sink, {}, {}, BytesOf(kind.output)};
    ends.input.version = ZIMG_API_VERSION;
    ends.output.version = ZIMG_API_VERSION;
    bool const hasAllRows = rows.Height() >= static_cast<int>(source.height);
    bool const isDirect = hasAllRows && PointInto(rows, shape, ends.input);
    auto const inputStride = AlignedStride(source.width * static_cast<size_t>(FrameRows::BytesOf(shape.type)));
    auto const outputStride = AlignedStride(target.width * ends.outputBytes);
    uint8_t* graphMemory = memory.graph.Get(std::max<size_t>(graphBytes, 1));
    if (!graphMemory ||
        (!isDirect && !Divide(memory.input, ends.input, shape.planes, inputStride, Ring(inputRows, source.height),
                              shape.log2ChromaHeight)) ||
        !Divide(memory.output, ends.output, shape.planes, outputStride, Ring(outputRows, target.height), 0))
        return false;
    zimg_image_buffer_const const input = Constant(ends.input);
    return zimg_filter_graph_process(graph, &input, &ends.output, graphMemory, isDirect ? nullptr : Ends::Unpack, &ends,
                                     Ends::Pack, &ends) == ZIMG_ERROR_SUCCESS;
}
