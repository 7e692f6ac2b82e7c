#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstddef>
#include <cstdint>

// Reads a picture's samples as rows of one component each (luma and chroma, or red, green and blue) in the machine's
// byte order, however FFmpeg's format packs, swaps or shifts them. Ignores alpha.
//
// A view: can be restricted to the rows of one field, or to those from some row on.
class FrameRows
{
public:
    enum class Type { Byte, Word, Half, Float }; // of a sample after reading

    // The layout of a format's rows.
    struct Shape
    {
        int planes = 0; // 1 or 3; 0: the format is not supported
        Type type = Type::Byte;
        int depth = 0; // bits of a sample
        int log2ChromaWidth = 0;
        int log2ChromaHeight = 0;
        bool isRgb = false;
    };

    static Shape ShapeOf(int format);
    static int BytesOf(Type type);

    // Views the first `width` x `height` pixels of `picture`, which must outlive this object and have a supported
    // format.
    FrameRows(AVFrame const& picture, int width, int height);

    void TakeField(int field); // 0: the rows 0, 2, 4, ...; 1: the others
    void SkipRows(int rows);   // a multiple of the rows that share one chroma row
    int Height() const { return height; }

    // The component's plane if its samples need no unpacking and its rows are aligned to `alignment`; null otherwise.
    uint8_t const* DirectPlane(int component, size_t alignment) const;
    ptrdiff_t StrideOf(int component) const;

    // Reads `count` samples of `row` of the component, from column `left` on. Positions beyond the picture repeat its
    // edge.
    void Read(int component, int row, int left, int count, void* target) const;

private:
    bool IsChroma(int component) const { return shape.planes == 3 && !shape.isRgb && component > 0; }
    void ReadInside(int component, int row, int left, int count, void* target) const;

    AVPixFmtDescriptor const* format;
    Shape shape;
    uint8_t const* data[4];
    int strides[4];
    int width;
    int height;
    int chromaHeight;
};
