#pragma once

#include "decode/colour/FloatTable.h"
#include "decode/colour/PictureColours.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

// Maps RGB of PQ or HLG, or of primaries other than BT.709's, to SDR video, by way of linear light:
//
//     PQ    cd/m2 by the EOTF of SMPTE ST 2084
//     HLG   scene light by the inverse OETF of ITU-R BT.2100, its OOTF for a display of 1000 cd/m2
//     both  the EETF of ITU-R BT.2390 from the picture's peak to reference white, 203 cd/m2 (ITU-R BT.2408), for each
//           component separately, which turns bright colours towards white near the peak
//     SDR   the EOTF of ITU-R BT.1886, gamma 2.4
//     all   the matrix to the primaries of BT.709, clipped, and the inverse of BT.1886
class LightMap
{
public:
    static constexpr int depth = 12; // bits of its input values, full range
    static constexpr size_t luminanceRow = 3;

    // Null when the picture needs no map, or when out of memory. `toneMapping`: whether HDR needs one.
    static std::unique_ptr<LightMap> Make(PictureColours const& colours, bool toneMapping);

    // Whether this map is for pictures of these colours.
    bool IsFor(PictureColours const& colours) const;

    // Maps and interleaves three rows into one row of packed RGB.
    void Convert(uint16_t const* red, uint16_t const* green, uint16_t const* blue, int count, uint8_t* target) const;

    // The look-up tables: 45 kB, small enough for the second-level cache.
    struct Tables
    {
        // Linear light of an input value. 1 is reference white for PQ (already tone-mapped), the brightest scene for
        // HLG.
        std::array<float, 1 << depth> light;

        // Columns of the matrix from the source's red, green and blue to BT.709's; the fourth row gives luminance.
        std::array<std::array<float, 4>, 3> columns;

        FloatTable<-22, 0, 5> gains;      // HLG: the OOTF's factor, by luminance
        FloatTable<-22, 3, 8> toneMapped; // HLG: the EETF, 1 is reference white
    };

private:
    explicit LightMap(PictureColours const& colours);

    PictureColours made;
    bool isScene = false; // HLG: values are scene light
    Tables tables;
};
