#pragma once

#include "decode/PictureScaler.h"
#include "tests/support/Reference.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/frame.h>
}

#include <ostream>
#include <string>
#include <vector>

// For tests over many pixel formats.

// Formats that the converters treat in the same way.
struct Family
{
    char const* name;
    std::vector<AVPixelFormat> formats;
};

inline std::ostream& operator<<(std::ostream& stream, Family const& family)
{
    return stream << family.name;
}

inline std::string FamilyName(testing::TestParamInfo<Family> const& info)
{
    return info.param.name;
}

inline PictureScaler::Layout LayoutOf(AVFrame const& source, int outputWidth)
{
    PictureScaler::Layout layout;
    layout.width = source.width;
    layout.height = source.height;
    layout.format = source.format;
    layout.outputWidth = outputWidth;
    layout.outputHeight = source.height;
    layout.outputStride = RowBytes(outputWidth);
    return layout;
}
