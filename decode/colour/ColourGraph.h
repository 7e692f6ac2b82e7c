#pragma once

#include "decode/colour/AlignedBytes.h"
#include "decode/colour/FrameRows.h"
#include "decode/colour/PictureColours.h"

#include <memory>

struct zimg_filter_graph;

// Receives the converted picture, one part of a row at a time.
class RowSink
{
public:
    // `count` samples of `row` from column `left` on, in three planes: red, green and blue, or grey three times.
    virtual void Take(int row, int left, int count, void const* const* planes) = 0;

protected:
    ~RowSink() = default;
};

// A zimg filter graph that converts one kind of picture to RGB planes: matrix, range, depth, chroma location, width.
// Making one costs about a millisecond, so keep it for later pictures. Any number of threads at a time, each with its
// own Memory.
class ColourGraph
{
public:
    enum class Output { Bytes, Words, Floats }; // Words have LightMap::depth bits; all are full range
    enum class Scan { Progressive, TopField, BottomField };

    struct Kind
    {
        int format = -1; // AVPixelFormat that FrameRows can read
        int width = 0;
        int height = 0;
        int outputWidth = 0;
        AVColorSpace matrix = AVCOL_SPC_BT709;
        AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED; // only where the matrix needs it
        AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
        AVChromaLocation chromaLocation = AVCHROMA_LOC_LEFT;
        bool isFullRange = false;
        Scan scan = Scan::Progressive;
        Output output = Output::Bytes;

        bool operator==(Kind const& other) const = default;
    };

    // Working memory of one thread.
    struct Memory
    {
        AlignedBytes input, output, graph;
    };

    static bool IsAvailable(); // whether this build has zimg

    // Null when zimg does not support the conversion or this build has no zimg.
    static std::unique_ptr<ColourGraph> Make(Kind const& kind);
    ~ColourGraph();
    ColourGraph(ColourGraph const&) = delete;
    ColourGraph& operator=(ColourGraph const&) = delete;

    Kind const& GetKind() const { return kind; }

    // Converts the picture and passes all rows to `sink`. False when out of memory or when zimg fails.
    bool Process(FrameRows const& rows, Memory& memory, RowSink& sink) const;

private:
    ColourGraph(Kind const& kind, zimg_filter_graph* graph);

    Kind kind;
    FrameRows::Shape shape;
    zimg_filter_graph* graph;
};
