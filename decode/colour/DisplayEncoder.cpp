#include "decode/colour/DisplayEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

DisplayEncoder::DisplayEncoder(double gamma)
{
    for (size_t i = 0; i < table.size(); ++i) {
        auto const middle = lowest + static_cast<int32_t>(i << shift) + (1 << (shift - 1));
        float value = 0.0f;
        std::memcpy(&value, &middle, sizeof value);
        double const inside = std::min(static_cast<double>(value), 1.0);
        table[i] = static_cast<uint8_t>(std::lround(255.0 * std::pow(inside, 1.0 / gamma)));
    }
    table.front() = 0;
}

DisplayEncoder const& DisplayEncoder::ForGamma22()
{
    static DisplayEncoder const encoder(2.2);
    return encoder;
}

DisplayEncoder const& DisplayEncoder::ForGamma24()
{
    static DisplayEncoder const encoder(2.4);
    return encoder;
}

namespace {

TAVOLIN_INLINE void EncodeLoop(DisplayEncoder const& encoder, float const* const* rows, int count, uint8_t* target)
{
    constexpr int stretch = 64;
    for (int i = 0; i < count; i += stretch, target += 3 * stretch) {
        if (count - i >= stretch) // a constant length for the compiler
            encoder.EncodeStretch(rows[0] + i, rows[1] + i, rows[2] + i, stretch, target);
        else
            encoder.EncodeStretch(rows[0] + i, rows[1] + i, rows[2] + i, count - i, target);
    }
}

TAVOLIN_BOTH(Encode, (DisplayEncoder const& encoder, float const* const* rows, int count, uint8_t* target),
             EncodeLoop(encoder, rows, count, target))

} // namespace

void DisplayEncoder::EncodeRow(float const* red, float const* green, float const* blue, int count,
                               uint8_t* target) const
{
    float const* const rows[] = {red, green, blue};
    TAVOLIN_BEST(Encode)(*this, rows, count, target);
}
