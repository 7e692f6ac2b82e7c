#pragma once

#include "decode/colour/ProcessorLoops.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Encodes linear light for a display of the given gamma: 255 x^(1 / gamma), rounded, with x clamped to 0..1. Uses a
// table indexed by the float's bits: its steps are 1/512 of the value, less than a quarter of one byte step.
class DisplayEncoder
{
public:
    explicit DisplayEncoder(double gamma);

    static DisplayEncoder const& ForGamma22(); // for sources in linear light
    static DisplayEncoder const& ForGamma24(); // ITU-R BT.1886, the display of SDR video

    uint8_t Encode(float value) const
    {
        int32_t place = 0;
        FindPlaces(&value, 1, &place);
        return table[static_cast<size_t>(place)];
    }

    // Encodes and interleaves three rows into one row of packed RGB.
    void EncodeRow(float const* red, float const* green, float const* blue, int count, uint8_t* target) const;

    // The same for at most 64 pixels, for use inside a TAVOLIN_BOTH loop.
    TAVOLIN_INLINE void EncodeStretch(float const* red, float const* green, float const* blue, int count,
                                      uint8_t* target) const
    {
        int32_t places[3][64];
        FindPlaces(red, count, places[0]);
        FindPlaces(green, count, places[1]);
        FindPlaces(blue, count, places[2]);
        for (int i = 0; i < count; ++i) {
            target[3 * i] = table[static_cast<size_t>(places[0][i])];
            target[3 * i + 1] = table[static_cast<size_t>(places[1][i])];
            target[3 * i + 2] = table[static_cast<size_t>(places[2][i])];
        }
    }

private:
    TAVOLIN_INLINE static void FindPlaces(float const* values, int count, int32_t* places)
    {
        // As integers, the bits of positive floats are ordered like the values, and those of negative floats are below
        // 0.
        std::memcpy(places, values, static_cast<size_t>(count) * sizeof(float));
        for (int i = 0; i < count; ++i) {
            int32_t const above = places[i] < lowest ? lowest : places[i];
            places[i] = ((above > one ? one : above) - lowest) >> shift;
        }
    }

    static constexpr int octaves = 22; // 2^-22 encodes to less than half a byte step for both gammas
    static constexpr int shift = 14;   // keeps 9 bits of the fraction
    static constexpr int32_t one = 127 << 23;
    static constexpr int32_t lowest = (127 - octaves) << 23;

    std::array<uint8_t, (octaves << 9) + 1> table;
};
