#pragma once

#include "media/FfmpegPtr.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Converts decoded pictures to packed RGB of another width, bilinear, straight into the caller's rows: every pixel is
// written, the padding of each row is 0, and nothing beside the rows changes. Keeps its conversion context for the next
// picture of the same kind.
class PictureScaler
{
public:
    // What a picture is converted from and to, in pixels.
    struct Layout
    {
        int width = 0;
        int height = 0;
        int format = -1; // AVPixelFormat
        int outputWidth = 0;
        int outputHeight = 0;
        int outputStride = 0; // bytes, at least 3 x outputWidth

        // How the picture's colours are meant: AVColorSpace, and whether black and white are 0 and 255. Negative: the
        // converter's defaults, BT.601 and limited range.
        int matrix = -1;
        bool isFullRange = false; // only with a matrix
    };

    // How many slices of a picture may be converted at the same time; 1 at first. The bytes do not depend on it.
    void SetMostThreads(int threads);

    bool CanConvert(Layout const& layout);

    // Converts `source`, whose picture is at least as large as the layout says, into `target` of outputStride x
    // outputHeight bytes. The source's size fields are changed to the layout's. False when the conversion is not
    // possible; `target` then holds anything.
    bool Convert(AVFrame& source, Layout const& layout, uint8_t* target);

private:
    bool Prepare(Layout const& layout);
    bool ConvertTo(AVFrame& source, Layout const& layout, uint8_t* target, int stride);

    int mostThreads = 1;
    Layout prepared; // what `context` was made for
    int preparedThreads = 1;
    FfmpegPtr<SwsContext> context;
    std::unique_ptr<uint8_t[]> roomyRows; // scratch picture whose rows have room for the converter's last step
    size_t roomySize = 0;
};
