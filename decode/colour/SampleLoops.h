#pragma once

#include <cstdint>

// Loops over the samples of a row; with vector registers they are as fast as memory.
namespace SampleLoops {

// Copies samples that are `step` bytes apart to a contiguous row.
void Gather8(uint8_t const* source, int step, int count, uint8_t* target);

// The same for `depth` bits from bit `shift` on of 16-bit words; `isSwapped`: with swapped bytes.
void Gather16(uint8_t const* source, int step, bool isSwapped, int shift, int depth, int count, uint16_t* target);
void Gather32(uint8_t const* source, int step, bool isSwapped, int count, uint32_t* target);

// Interleaves three rows into one row of packed RGB.
void Interleave(uint8_t const* red, uint8_t const* green, uint8_t const* blue, int count, uint8_t* target);

// Converts 16 bits to 8, rounded to nearest: 65535 becomes 255.
void Narrow(uint8_t const* source, bool isSwapped, int count, uint8_t* target);

// The same for pixels of four samples, leaving out the fourth.
void NarrowWithoutFourth(uint8_t const* source, bool isSwapped, int pixels, uint8_t* target);

} // namespace SampleLoops
