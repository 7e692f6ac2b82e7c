#pragma once

#include "decode/colour/AlignedBytes.h"
#include "decode/colour/FrameRows.h"
#include "decode/colour/PictureColours.h"

#include <memory>

struct zimg_filter_graph;

// Takes the rows of a finished picture, stretch by stretch.
class RowSink
{
public:
    // The samples of `row` from column `left` on: red, green and blue, or grey three times.
    virtual void Take(int row, int left, int count, void const* const* planes) = 0;

protected:
    ~RowSink() = default;
};

// zimg's conversion of one kind of picture to RGB planes: matrix, range, depth, places of chroma, width. Making one
// costs about a millisecond, so that it is kept for the pictures that follow. Any number of threads at a time, each
// with memory of its own.
class ColourGraph
{
public:
    enum class Output { Bytes, Words, Floats }; // Words: of LightMap::depth bits; all full range
    enum class Scan { Progressive, TopField, BottomField };

    struct Kind
    {
        int format = -1; // AVPixelFormat, one with a shape
        int width = 0;
        int height = 0;
        int outputWidth = 0;
        AVColorSpace matrix = AVCOL_SPC_BT709;
        AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED; // asked for by constant luminance only
        AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
        AVChromaLocation chromaLocation = AVCHROMA_LOC_LEFT;
        bool isFullRange = false;
        Scan scan = Scan::Progressive;
        Output output = Output::Bytes;

        bool operator==(Kind const& other) const = default;
    };

    // What one thread needs while it converts.
    struct Memory
    {
        AlignedBytes input, output, graph;
    };

    static bool IsAvailable(); // whether the library was built with zimg

    // Null when zimg cannot do it, or is not there.
    static std::unique_ptr<ColourGraph> Make(Kind const& kind);
    ~ColourGraph();
    ColourGraph(ColourGraph const&) = delete;
    ColourGraph& operator=(ColourGraph const&) = delete;

    Kind const& GetKind() const { return kind; }

    // Hands all rows of the converted picture to `sink`. False when memory is out or zimg fails.
    bool Process(FrameRows const& rows, Memory& memory, RowSink& sink) const;

private:
    ColourGraph(Kind const& kind, zimg_filter_graph* graph);

    Kind kind;
    FrameRows::Shape shape;
    zimg_filter_graph* graph;
};
