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

// Converts decoded pictures to packed RGB as their stream says: matrix, range, primaries, HDR, places of chroma,
// fields. Straight into the caller's rows: every pixel is written, the padding of each row is 0, and nothing beside the
// rows changes. Each kind of picture goes the quickest way that is exact enough:
//
//     8-bit RGB, palettes, what zimg cannot read     libswscale, as PictureScaler does
//     8-bit planar 4:2:0 and 4:2:2, of frames        libswscale's quick converter with the stream's matrix and range
//     16-bit packed RGB, linear light in floats      a loop
//     everything else                                zimg; then linear light for HDR and other primaries
//
// Keeps what it made for the next picture of the same kind. One thread at a time.
class StreamConverter
{
public:
    void SetSettings(ColourSettings const& settings); // toneMapping and exact count
    void SetStatedPeak(double peak);                  // cd/m2, of HDR pictures that do not say; 0: unknown
    void SetMostThreads(int threads);                 // how many slices are converted at the same time; 1 at first

    // Converts `source`, whose picture is at least as large as the layout says, into `target` of outputStride x
    // outputHeight bytes; outputHeight is the layout's height. `isLinear`: the source is in linear light, whatever it
    // says. The source's size fields are changed to the layout's. False when the conversion is not possible; `target`
    // then holds anything.
    bool Convert(AVFrame& source, PictureScaler::Layout const& layout, bool isLinear, uint8_t* target);

    // What the last picture was converted from, in FFmpeg's names, and what was done to its light; empty before.
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
    PictureColours last; // of the picture converted last
    int lastFormat = -1;
    bool lastIsLinear = false;
    double statedPeak = 0.0;
    int mostThreads = 1;
    PictureScaler scaler;
    std::unique_ptr<LightMap> lightMap;
    std::vector<std::unique_ptr<ColourGraph>> graphs;
    std::vector<ColourGraph::Memory> memories; // one a thread
};
