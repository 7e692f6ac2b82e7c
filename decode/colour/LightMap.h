#pragma once

#include "decode/colour/FloatTable.h"
#include "decode/colour/PictureColours.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

// Brings RGB of another light than that of SDR video there, by way of linear light: PQ and HLG, and the primaries of
// wider or older gamuts than that of BT.709.
//
//     PQ    cd/m2 by the EOTF of SMPTE ST 2084
//     HLG   scene light by the inverse OETF of ITU-R BT.2100, its OOTF for a display of 1000 cd/m2
//     both  the EETF of ITU-R BT.2390 from the picture's peak to reference white, 203 cd/m2 (ITU-R BT.2408), of each
//           component by itself, so that what is nearly white becomes white towards the peak
//     SDR   the EOTF of ITU-R BT.1886, gamma 2.4
//     all   the matrix to the primaries of BT.709, clipped, and the inverse of BT.1886
class LightMap
{
public:
    static constexpr int depth = 12; // bits of the values it takes, full range
    static constexpr size_t luminanceRow = 3;

    // Null when the picture needs none, or when memory is out. `toneMapping`: whether HDR does.
    static std::unique_ptr<LightMap> Make(PictureColours const& colours, bool toneMapping);

    // Whether it is the map of such a picture.
    bool IsFor(PictureColours const& colours) const;

    // Three rows into one of packed RGB.
    void Convert(uint16_t const* red, uint16_t const* green, uint16_t const* blue, int count, uint8_t* target) const;

    // What the loops look up; small enough together for the nearest cache.
    struct Tables
    {
        // Linear light of a value: 1 is reference white, tone-mapped already for PQ, or the brightest scene for HLG.
        std::array<float, 1 << depth> light;

        // Columns of the matrix from the source's red, green and blue to those of BT.709; the fourth row gives
        // luminance.
        std::array<std::array<float, 4>, 3> columns;

        FloatTable<-22, 0, 5> gains;      // of HLG: what the OOTF multiplies with, by luminance
        FloatTable<-22, 3, 8> toneMapped; // the same: the EETF, 1 is reference white
    };

private:
    explicit LightMap(PictureColours const& colours);

    PictureColours made;
    bool isScene = false; // HLG
    Tables tables;
};
