#pragma once

#include "decode/ColourSettings.h"
#include "decode/PictureScaler.h"
#include "decode/colour/ColourGraph.h"
#include "decode/colour/LightMap.h"
#include "decode/colour/PictureColours.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

// Converts decoded pictures to packed RGB by their stream's colours: matrix, range, primaries, HDR, chroma location,
// fields. Writes directly into the caller's rows: every pixel, 0 in each row's padding, and nothing else. Uses the
// fastest method that is exact enough for the picture:
//
//     8-bit RGB, palettes, formats zimg cannot read  libswscale, as PictureScaler does
//     8-bit planar 4:2:0 and 4:2:2, progressive      libswscale's quick converter with the stream's matrix and range
//     16-bit packed RGB, float RGB in linear light   a loop
//     everything else                                zimg, then a LightMap for HDR and other primaries
//
// Keeps its contexts for the next picture of the same kind. One thread at a time.
class StreamConverter
{
public:
    void SetSettings(ColourSettings const& settings); // uses only toneMapping and exact
    void SetStatedPeak(double peak);                  // cd/m2, for HDR pictures without a peak; 0: unknown
    void SetMostThreads(int threads);                 // slices converted at the same time; 1 by default

    // Converts `source`, which is at least as large as the layout's size, into `target` of outputStride x outputHeight
    // bytes; outputHeight must equal the layout's height. `isLinear`: the source is in linear light, whatever its tags
    // are. Changes the size fields of `source` to the layout's. False when the conversion is not possible; the content
    // of `target` is then undefined.
    bool Convert(AVFrame& source, PictureScaler::Layout const& layout, bool isLinear, uint8_t* target);

    // The last picture's format and colour tags in FFmpeg's names, and the conversion of its light; empty before the
    // first.
    QString Describe() const;

private:
    struct Job;

    bool IsPlain(PictureScaler::Layout const& layout, PictureColours const& colours) const;
    bool ConvertPlainly(AVFrame& source, PictureScaler::Layout layout, PictureColours const& colours, bool isLinear,
                        uint8_t* target);
    bool ConvertPackedRgb16(AVFrame const& source, PictureScaler::Layout const& layout, uint8_t* target);
    bool ConvertLinearRgb(AVFrame const& source, PictureScaler::Layout const& layout, uint8_t* target);
    bool ConvertByGraph(AVFrame const& source, PictureScaler::Layout const& layout, PictureColours const& colours,
                        bool isLinear, uint8_t* target);
    int SlicesOf(PictureScaler::Layout const& layout) const;
    ColourGraph const* GraphOf(ColourGraph::Kind const& kind);
    LightMap const* MapOf(PictureColours const& colours, bool isRgb);

    ColourSettings settings;
    PictureColours last; // of the last picture
    int lastFormat = -1;
    bool lastIsLinear = false;
    double statedPeak = 0.0;
    int mostThreads = 1;
    PictureScaler scaler;
    std::unique_ptr<LightMap> lightMap;
    std::vector<std::unique_ptr<ColourGraph>> graphs;
    std::vector<ColourGraph::Memory> memories; // one for each thread
};
