#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstddef>
#include <cstdint>

// Reads the samples of a picture's luma and chroma, or red, green and blue, as rows of one plane each, in the machine's
// byte order: whatever FFmpeg's format packs together, swaps or shifts. Alpha is left out.
//
// A view of the picture in which the rows of one field, or those from some row on, are all that there is.
class FrameRows
{
public:
    enum class Type { Byte, Word, Half, Float }; // of a sample as it is read

    // What the rows of a format hold.
    struct Shape
    {
        int planes = 0; // 1 or 3; 0: not to be read so
        Type type = Type::Byte;
        int depth = 0; // bits of a sample
        int log2ChromaWidth = 0;
        int log2ChromaHeight = 0;
        bool isRgb = false;
    };

    static Shape ShapeOf(int format);
    static int BytesOf(Type type);

    // Of the first `width` x `height` pixels of `picture`, which must outlive this, and whose format has a shape.
    FrameRows(AVFrame const& picture, int width, int height);

    void TakeField(int field); // 0: the rows 0, 2, 4, ...; 1: the others
    void SkipRows(int rows);   // a multiple of the rows that share their chroma
    int Height() const { return height; }

    // The plane of component `component`, where its samples lie there as they would be read, in rows that start at
    // multiples of `alignment`; null otherwise.
    uint8_t const* DirectPlane(int component, size_t alignment) const;
    ptrdiff_t StrideOf(int component) const;

    // Reads `count` samples from `left` on of row `row` of the component. Places beyond the picture repeat its edge.
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
