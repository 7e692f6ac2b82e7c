#pragma once

#include "media/FfmpegPtr.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Converts decoded pictures to packed RGB of another width, bilinear, directly into the caller's rows: writes every
// pixel, sets each row's padding to 0, and writes nothing else. Keeps its conversion context for the next picture of
// the same kind.
class PictureScaler
{
public:
    // The source and target of a conversion, in pixels.
    struct Layout
    {
        int width = 0;
        int height = 0;
        int format = -1; // AVPixelFormat
        int outputWidth = 0;
        int outputHeight = 0;
        int outputStride = 0; // bytes, at least 3 x outputWidth

        // The source's AVColorSpace, and whether it is full range (black 0, white 255). A negative matrix: the
        // converter's defaults, BT.601 in limited range.
        int matrix = -1;
        bool isFullRange = false; // only with a matrix
    };

    // The maximum number of slices converted at the same time; 1 by default. Does not change the resulting bytes.
    void SetMostThreads(int threads);

    bool CanConvert(Layout const& layout);

    // Converts `source`, which is at least as large as the layout's size, into `target` of outputStride x outputHeight
    // bytes. Changes the size fields of `source` to the layout's. False when the conversion is not possible; the
    // content of `target` is then undefined.
    bool Convert(AVFrame& source, Layout const& layout, uint8_t* target);

    // Sets the padding of each row of `target` to 0.
    static void ClearPadding(Layout const& layout, uint8_t* target);

private:
    bool Prepare(Layout const& layout);
    bool ConvertTo(AVFrame& source, Layout const& layout, uint8_t* target, int stride);

    int mostThreads = 1;
    Layout prepared; // the layout of `context`
    int preparedThreads = 1;
    FfmpegPtr<SwsContext> context;
    std::unique_ptr<uint8_t[]> roomyRows; // scratch picture with room for the converter's last step in each row
    size_t roomySize = 0;
};
