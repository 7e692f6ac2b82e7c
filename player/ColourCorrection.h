#pragma once

#include <array>
#include <cstdint>

struct StreamColours;

// Turns RGB that was made with the wrong matrix or range into what the stream meant: the wrong conversion undone and
// the right one done, in one linear step. Values that the first conversion clipped are lost for good: colours outside
// its range keep what the clipping left of them, the whites and blacks of full-range sources most of all.
class ColourCorrection
{
public:
    ColourCorrection(); // changes nothing

    explicit ColourCorrection(StreamColours const& colours);

    bool IsIdentity() const;

    // Corrected = matrix x RGB + offset, all values from 0 to 1, rows of red, green and blue one after another.
    std::array<float, 9> const& GetMatrix() const;
    std::array<float, 3> const& GetOffset() const;

    // Corrects `pixels` packed RGB pixels from `source` into `target`, which may be the same.
    void Apply(uint8_t const* source, uint8_t* target, int pixels) const;

private:
    void MakeTables();

    std::array<float, 9> matrix;
    std::array<float, 3> offset;
    // What each value of each source channel adds to each target channel, in 1/65536; the offset is in red's.
    std::array<std::array<std::array<int32_t, 256>, 3>, 3> tables{};
};
