#pragma once

#include "decode/colour/ProcessorLoops.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

// A table of a function of a positive float, indexed by the float's bits: 2^precision entries for each power of two
// from 2^lowest to 2^highest, interpolated linearly. Arguments outside get the value at the nearer end.
template <int lowest, int highest, int precision>
class FloatTable
{
public:
    template <typename Function>
    void Fill(Function const& function)
    {
        for (size_t i = 0; i < values.size(); ++i) {
            int32_t const bits = lowestBits + static_cast<int32_t>(i << shift);
            float argument = 0.0f;
            std::memcpy(&argument, &bits, sizeof argument);
            values[i] = static_cast<float>(function(static_cast<double>(argument)));
        }
    }

    // Looks up `count` arguments, at most 64; `results` may be the same array.
    TAVOLIN_INLINE void LookUp(float const* arguments, int count, float* results) const
    {
        int32_t places[64]; // bits of floats are ordered like the values, negative ones below 0
        float fractions[64];
        std::memcpy(places, arguments, static_cast<size_t>(count) * sizeof(float));
        for (int i = 0; i < count; ++i) {
            int32_t const above = places[i] < lowestBits ? lowestBits : places[i];
            int32_t const place = (above > highestBits ? highestBits : above) - lowestBits;
            fractions[i] = static_cast<float>(place & ((1 << shift) - 1)) * (1.0f / (1 << shift));
            places[i] = place >> shift;
        }
        for (int i = 0; i < count; ++i) {
            float const* const value = values.data() + places[i];
            results[i] = value[0] + fractions[i] * (value[1] - value[0]);
        }
    }

    // The same without interpolation, by the nearest entry: half the cost, for tables with many entries.
    TAVOLIN_INLINE void LookUpNearest(float const* arguments, int count, float* results) const
    {
        int32_t places[64];
        std::memcpy(places, arguments, static_cast<size_t>(count) * sizeof(float));
        for (int i = 0; i < count; ++i) {
            int32_t const above = places[i] < lowestBits ? lowestBits : places[i];
            places[i] = ((above > highestBits ? highestBits : above) - lowestBits + (1 << (shift - 1))) >> shift;
        }
        for (int i = 0; i < count; ++i)
            results[i] = values[static_cast<size_t>(places[i])];
    }

private:
    static constexpr int shift = 23 - precision;
    static constexpr int32_t lowestBits = (127 + lowest) << 23;
    static constexpr int32_t highestBits = ((127 + highest) << 23) - 1;

    std::array<float, (static_cast<size_t>(highest - lowest) << precision) + 1> values;
};
