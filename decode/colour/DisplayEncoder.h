#pragma once

#include "decode/colour/ProcessorLoops.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Linear light to the bytes of a display of some gamma: 255 x^(1 / gamma), rounded, for x from 0 to 1; what lies
// outside becomes 0 or 255. By a table over the bits of the float: steps of 1/512 of the value, less than a quarter of
// a byte's step.
class DisplayEncoder
{
public:
    explicit DisplayEncoder(double gamma);

    static DisplayEncoder const& ForGamma22(); // of sources in linear light
    static DisplayEncoder const& ForGamma24(); // ITU-R BT.1886, what SDR video is made for

    uint8_t Encode(float value) const
    {
        int32_t place = 0;
        FindPlaces(&value, 1, &place);
        return table[static_cast<size_t>(place)];
    }

    // Three rows into one of packed RGB.
    void EncodeRow(float const* red, float const* green, float const* blue, int count, uint8_t* target) const;

    // The same of at most 64 pixels, for a loop that is compiled for some processor.
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
        // The bits of positive floats are in the order of the values, those of negative ones below 0.
        std::memcpy(places, values, static_cast<size_t>(count) * sizeof(float));
        for (int i = 0; i < count; ++i) {
            int32_t const above = places[i] < lowest ? lowest : places[i];
            places[i] = ((above > one ? one : above) - lowest) >> shift;
        }
    }

    static constexpr int octaves = 22; // 2^-22 is less than half a byte's step for both gammas
    static constexpr int shift = 14;   // leaves 9 bits of the fraction
    static constexpr int32_t one = 127 << 23;
    static constexpr int32_t lowest = (127 - octaves) << 23;

    std::array<uint8_t, (octaves << 9) + 1> table;
};
