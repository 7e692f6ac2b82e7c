#include "decode/colour/StreamConverter.h"

#include "decode/RowBytes.h"
#include "decode/colour/DisplayEncoder.h"
#include "decode/colour/SampleLoops.h"

#include <QStringList>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <thread>

namespace {

// A thread costs a few dozen microseconds to start. Below this many pixels it costs more than it saves.
constexpr long long pixelsWorthSlices = 500000;

// Chroma interpolation at a slice's border needs rows beyond it.
constexpr int rowsAroundSlice = 8;

// Two fields x two slice heights, for two kinds of picture.
constexpr size_t mostGraphs = 8;

bool IsScaled(PictureScaler::Layout const& layout)
{
    return layout.outputWidth != layout.width;
}

bool IsPlanar(AVPixFmtDescriptor const& format)
{
    return format.comp[1].plane == 1 && format.comp[2].plane == 2;
}

// libswscale has tables for these matrices; it would treat all others as BT.601.
bool IsKnownToScaler(AVColorSpace matrix)
{
    switch (matrix) {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_FCC:
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_SMPTE240M:
    case AVCOL_SPC_BT2020_NCL:
        return true;
    default:
        return false;
    }
}

// Whether the conversion depends on the transfer function or the primaries: constant luminance, ICtCp, and matrices
// derived from the primaries.
bool NeedsTransfer(AVColorSpace matrix)
{
    return matrix == AVCOL_SPC_BT2020_CL || matrix == AVCOL_SPC_CHROMA_DERIVED_NCL ||
           matrix == AVCOL_SPC_CHROMA_DERIVED_CL || matrix == AVCOL_SPC_ICTCP;
}

bool IsQuick(FrameRows::Shape const& shape, AVPixFmtDescriptor const& format, PictureColours const& colours)
{
    return shape.planes == 3 && !shape.isRgb && shape.type == FrameRows::Type::Byte && IsPlanar(format) &&
           shape.log2ChromaWidth == 1 && shape.log2ChromaHeight <= 1 && !colours.isInterlaced &&
           IsKnownToScaler(colours.matrix);
}

// 16-bit packed RGB, with or without alpha.
bool IsPackedRgb16(int format)
{
    return format == AV_PIX_FMT_RGB48LE || format == AV_PIX_FMT_RGB48BE || format == AV_PIX_FMT_RGBA64LE ||
           format == AV_PIX_FMT_RGBA64BE;
}

// Planar float RGB in this machine's byte order.
bool IsPlainFloatRgb(AVFrame const& source)
{
    FrameRows const rows(source, source.width, source.height);
    FrameRows::Shape const shape = FrameRows::ShapeOf(source.format);
    if (!shape.isRgb || shape.type != FrameRows::Type::Float)
        return false;
    for (int component = 0; component < 3; ++component)
        if (!rows.DirectPlane(component, sizeof(float)))
            return false;
    return true;
}

bool IsBigEndian(AVPixFmtDescriptor const& format)
{
    return (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
}

// Whether the format has the other byte order than this machine.
bool IsSwapped(AVPixFmtDescriptor const& format)
{
    uint16_t const one = 1;
    uint8_t first = 0;
    std::memcpy(&first, &one, 1);
    return IsBigEndian(format) == (first == 1);
}

void NarrowRows(AVFrame const& source, PictureScaler::Layout const& layout, int firstRow, int lastRow, uint8_t* target)
{
    AVPixFmtDescriptor const& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(layout.format));
    for (int row = firstRow; row < lastRow; ++row) {
        uint8_t const* from = source.data[0] + static_cast<ptrdiff_t>(row) * source.linesize[0];
        uint8_t* to = target + static_cast<ptrdiff_t>(row) * layout.outputStride;
        if (format.nb_components == 3)
            SampleLoops::Narrow(from, IsSwapped(format), layout.width * 3, to);
        else
            SampleLoops::NarrowWithoutFourth(from, IsSwapped(format), layout.width, to);
    }
}

// Encodes linear light, already rounded to bytes, for the display.
void EncodeBytes(PictureScaler::Layout const& layout, uint8_t* target)
{
    uint8_t table[256];
    for (int i = 0; i < 256; ++i)
        table[i] = DisplayEncoder::ForGamma22().Encode(static_cast<float>(i) / 255.0f);
    for (int row = 0; row < layout.outputHeight; ++row)
        for (int i = 0; i < layout.outputWidth * bytesPerPixel; ++i) {
            uint8_t& byte = target[static_cast<ptrdiff_t>(row) * layout.outputStride + i];
            byte = table[byte];
        }
}

// Does all jobs in parallel: the first on this thread, the others on a thread each, or here if no thread can be
// started. False when any failed.
template <typename Work>
bool DoAll(int jobs, Work const& work)
{
    std::atomic<bool> succeeded = true;
    auto const run = [&](int job) {
        if (!work(job))
            succeeded = false;
    };
    std::vector<std::thread> threads;
    int started = 1;
    try {
        threads.reserve(static_cast<size_t>(jobs));
        for (; started < jobs; ++started)
            threads.emplace_back(run, started);
    } catch (std::exception const&) {
        // The remaining jobs run on this thread.
    }
    run(0);
    for (; started < jobs; ++started)
        run(started);
    for (std::thread& thread : threads)
        thread.join();
    return succeeded;
}

} // namespace

// One slice of a picture, or of one field of it.
struct StreamConverter::Job final : RowSink
{
    ColourGraph const* graph = nullptr;
    FrameRows rows;
    LightMap const* lightMap = nullptr;
    int outputWidth = 0;
    int rowsBefore = 0; // leading rows of the graph that belong to the previous slice
    int count = 0;      // rows of the slice
    uint8_t* target = nullptr;
    ptrdiff_t stride = 0;

    explicit Job(FrameRows const& rows) : rows(rows) {}

    void Take(int row, int left, int samples, void const* const* planes) override
    {
        samples = std::min(samples, outputWidth - left);
        if (row < rowsBefore || row >= rowsBefore + count || samples <= 0)
            return;
        uint8_t* const place = target + (row - rowsBefore) * stride + static_cast<ptrdiff_t>(left) * bytesPerPixel;
        switch (graph->GetKind().output) {
        case ColourGraph::Output::Bytes:
            SampleLoops::Interleave(static_cast<uint8_t const*>(planes[0]), static_cast<uint8_t const*>(planes[1]),
                                    static_cast<uint8_t const*>(planes[2]), samples, place);
            break;
        case ColourGraph::Output::Words:
            lightMap->Convert(static_cast<uint16_t const*>(planes[0]), static_cast<uint16_t const*>(planes[1]),
                              static_cast<uint16_t const*>(planes[2]), samples, place);
            break;
        case ColourGraph::Output::Floats:
            DisplayEncoder::ForGamma22().EncodeRow(static_cast<float const*>(planes[0]),
                                                   static_cast<float const*>(planes[1]),
                                                   static_cast<float const*>(planes[2]), samples, place);
            break;
        }
    }
};

void StreamConverter::SetSettings(ColourSettings const& newSettings)
{
    if (settings.toneMapping != newSettings.toneMapping)
        lightMap.reset();
    settings = newSettings;
}

void StreamConverter::SetStatedPeak(double peak)
{
    statedPeak = peak;
}

void StreamConverter::SetMostThreads(int threads)
{
    mostThreads = std::max(threads, 1);
    scaler.SetMostThreads(threads);
}

bool StreamConverter::Convert(AVFrame& source, PictureScaler::Layout const& layout, bool isLinear, uint8_t* target)
{
    source.width = layout.width;
    source.height = layout.height;
    source.format = layout.format;
    FrameRows::Shape const shape = FrameRows::ShapeOf(layout.format);
    PictureColours const colours = PictureColours::Of(source, statedPeak);
    isLinear = isLinear || colours.transfer == AVCOL_TRC_LINEAR;
    last = colours;
    lastFormat = layout.format;
    lastIsLinear = isLinear;
    bool const changesLight = isLinear || MapOf(colours, shape.isRgb);
    if (shape.planes == 0 || (IsPlain(layout, colours) && !changesLight))
        return ConvertPlainly(source, layout, colours, isLinear, target);
    bool isConverted = false;
    if (!changesLight && !IsScaled(layout) && IsPackedRgb16(layout.format))
        isConverted = ConvertPackedRgb16(source, layout, target);
    else if (isLinear && !IsScaled(layout) && IsPlainFloatRgb(source))
        isConverted = ConvertLinearRgb(source, layout, target);
    else
        isConverted = ConvertByGraph(source, layout, colours, isLinear, target);
    if (!isConverted)
        return ConvertPlainly(source, layout, colours, isLinear, target);
    PictureScaler::ClearPadding(layout, target);
    return true;
}

QString StreamConverter::Describe() const
{
    AVPixFmtDescriptor const* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(lastFormat));
    if (!format)
        return {};
    bool const isRgb = (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
    QStringList words{QString::fromLatin1(format->name)};
    if (!isRgb)
        words << QString::fromLatin1(av_color_space_name(last.matrix))
              << QString::fromLatin1(av_color_range_name(last.isFullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG));
    if (last.IsHdr())
        words << QString::fromLatin1(av_color_transfer_name(last.transfer))
              << QString::fromLatin1(av_color_primaries_name(last.primaries));
    QString text = words.join(QLatin1Char(' '));
    if (!ColourGraph::IsAvailable())
        return last.IsHdr() ? text + QStringLiteral(", not tone-mapped") : text;
    if (last.isInterlaced)
        text += QStringLiteral(", by field");
    if (lastIsLinear)
        return text + QStringLiteral(", linear light encoded for gamma 2.2");
    if (last.IsHdr())
        return text + (settings.toneMapping ? QStringLiteral(", tone-mapped from %1 to 203 cd/m2").arg(last.peak)
                                            : QStringLiteral(", not tone-mapped"));
    if (!isRgb && last.HasOtherPrimaries())
        return text + QStringLiteral(", %1 brought to bt709")
                          .arg(QString::fromLatin1(av_color_primaries_name(last.primaries)));
    return text;
}

// Whether libswscale is exact enough and fastest, or the only one that supports the format.
bool StreamConverter::IsPlain(PictureScaler::Layout const& layout, PictureColours const& colours) const
{
    FrameRows::Shape const shape = FrameRows::ShapeOf(layout.format);
    if (shape.planes == 0 || IsScaled(layout))
        return shape.planes == 0;
    if (shape.isRgb)
        return shape.type == FrameRows::Type::Byte;
    return !settings.exact && IsQuick(shape, *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(layout.format)), colours);
}

bool StreamConverter::ConvertPlainly(AVFrame& source, PictureScaler::Layout layout, PictureColours const& colours,
                                     bool isLinear, uint8_t* target)
{
    layout.matrix = IsKnownToScaler(colours.matrix) ? colours.matrix : AVCOL_SPC_UNSPECIFIED;
    layout.isFullRange = colours.isFullRange;
    if (!scaler.Convert(source, layout, target))
        return false;
    if (isLinear)
        EncodeBytes(layout, target);
    return true;
}

bool StreamConverter::ConvertPackedRgb16(AVFrame const& source, PictureScaler::Layout const& layout, uint8_t* target)
{
    int const slices = SlicesOf(layout);
    return DoAll(slices, [&](int slice) {
        NarrowRows(source, layout, layout.height * slice / slices, layout.height * (slice + 1) / slices, target);
        return true;
    });
}

// Planar float RGB needs no graph.
bool StreamConverter::ConvertLinearRgb(AVFrame const& source, PictureScaler::Layout const& layout, uint8_t* target)
{
    FrameRows const rows(source, layout.width, layout.height);
    auto const rowOf = [&rows](int component, int row) {
        void const* place =
            rows.DirectPlane(component, sizeof(float)) + static_cast<ptrdiff_t>(row) * rows.StrideOf(component);
        return static_cast<float const*>(place);
    };
    int const slices = SlicesOf(layout);
    return DoAll(slices, [&](int slice) {
        int const last = layout.height * (slice + 1) / slices;
        for (int row = layout.height * slice / slices; row < last; ++row)
            DisplayEncoder::ForGamma22().EncodeRow(rowOf(0, row), rowOf(1, row), rowOf(2, row), layout.width,
                                                   target + static_cast<ptrdiff_t>(row) * layout.outputStride);
        return true;
    });
}

bool StreamConverter::ConvertByGraph(AVFrame const& source, PictureScaler::Layout const& layout,
                                     PictureColours const& colours, bool isLinear, uint8_t* target)
{
    FrameRows::Shape const shape = FrameRows::ShapeOf(layout.format);
    ColourGraph::Kind kind;
    kind.format = layout.format;
    kind.width = layout.width;
    kind.outputWidth = layout.outputWidth;
    kind.matrix = colours.matrix;
    kind.chromaLocation = colours.chromaLocation;
    kind.isFullRange = colours.isFullRange;
    if (NeedsTransfer(colours.matrix)) {
        kind.transfer = colours.transfer;
        kind.primaries = colours.primaries;
    }
    LightMap const* map = isLinear ? nullptr : MapOf(colours, shape.isRgb);
    if (isLinear)
        kind.output = ColourGraph::Output::Floats;
    else if (map)
        kind.output = ColourGraph::Output::Words;

    // In interlaced pictures, chroma rows belong to one field.
    int const fields = colours.isInterlaced && layout.height > 1 << shape.log2ChromaHeight ? 2 : 1;
    int const slices = SlicesOf(layout);
    if (graphs.size() > mostGraphs)
        graphs.clear();
    std::vector<Job> jobs;
    for (int slice = 0; slice < slices; ++slice) {
        for (int field = 0; field < fields; ++field) {
            FrameRows rows(source, layout.width, layout.height);
            if (fields == 2) {
                rows.TakeField(field);
                kind.scan = field == 0 ? ColourGraph::Scan::TopField : ColourGraph::Scan::BottomField;
            }
            Job job(rows);
            int const first = rows.Height() * slice / slices / rowsAroundSlice * rowsAroundSlice;
            int const last = slice + 1 == slices
                                 ? rows.Height()
                                 : rows.Height() * (slice + 1) / slices / rowsAroundSlice * rowsAroundSlice;
            int const begin = std::max(first - rowsAroundSlice, 0);
            job.rows.SkipRows(begin);
            kind.height = std::min(last + rowsAroundSlice, rows.Height()) - begin;
            job.graph = GraphOf(kind);
            job.lightMap = map;
            job.outputWidth = layout.outputWidth;
            job.rowsBefore = first - begin;
            job.count = last - first;
            job.stride = static_cast<ptrdiff_t>(layout.outputStride) * fields;
            job.target = target + (static_cast<ptrdiff_t>(first) * fields + field) * layout.outputStride;
            if (!job.graph)
                return false;
            jobs.push_back(job);
        }
    }
    memories.resize(static_cast<size_t>(slices));
    return DoAll(slices, [&](int slice) {
        auto const first = static_cast<size_t>(slice) * static_cast<size_t>(fields);
        for (size_t i = first; i < first + static_cast<size_t>(fields); ++i)
            if (!jobs[i].graph->Process(jobs[i].rows, memories[static_cast<size_t>(slice)], jobs[i]))
                return false;
        return true;
    });
}

int StreamConverter::SlicesOf(PictureScaler::Layout const& layout) const
{
    bool const isLarge = static_cast<long long>(layout.outputWidth) * layout.outputHeight >= pixelsWorthSlices;
    return isLarge ? std::min(mostThreads, std::max(layout.height / (8 * rowsAroundSlice), 1)) : 1;
}

ColourGraph const* StreamConverter::GraphOf(ColourGraph::Kind const& kind)
{
    for (auto const& graph : graphs)
        if (graph->GetKind() == kind)
            return graph.get();
    auto graph = ColourGraph::Make(kind);
    if (!graph)
        return nullptr;
    graphs.push_back(std::move(graph));
    return graphs.back().get();
}

// Null when the values need no map. RGB is mapped only if it is HDR.
LightMap const* StreamConverter::MapOf(PictureColours const& colours, bool isRgb)
{
    if (isRgb && !colours.IsHdr())
        return nullptr;
    if (!lightMap || !lightMap->IsFor(colours))
        lightMap = LightMap::Make(colours, settings.toneMapping);
    return lightMap.get();
}
