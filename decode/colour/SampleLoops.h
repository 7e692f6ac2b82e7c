#pragma once

#include <cstdint>

// Loops over the samples of a row, as fast as memory where the processor has wide registers.
namespace SampleLoops {

// Samples that lie `step` bytes apart, into a row of their own.
void Gather8(uint8_t const* source, int step, int count, uint8_t* target);

// The `depth` bits from bit `shift` on of 16-bit words, whose bytes are swapped first when `isSwapped`.
void Gather16(uint8_t const* source, int step, bool isSwapped, int shift, int depth, int count, uint16_t* target);
void Gather32(uint8_t const* source, int step, bool isSwapped, int count, uint32_t* target);

// Three rows into one of packed RGB.
void Interleave(uint8_t const* red, uint8_t const* green, uint8_t const* blue, int count, uint8_t* target);

// 16 bits to 8, rounded to the nearest: 65535 becomes 255.
void Narrow(uint8_t const* source, bool isSwapped, int count, uint8_t* target);

// The same for pixels of four such samples, of which the last is left out.
void NarrowWithoutFourth(uint8_t const* source, bool isSwapped, int pixels, uint8_t* target);

} // namespace SampleLoops
