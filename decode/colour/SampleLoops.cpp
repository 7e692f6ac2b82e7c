#include "decode/colour/SampleLoops.h"

#include "decode/colour/ProcessorLoops.h"

#include <cstring>

namespace {

template <typename Sample>
TAVOLIN_INLINE Sample Load(uint8_t const* source)
{
    Sample sample;
    std::memcpy(&sample, source, sizeof sample);
    return sample;
}

TAVOLIN_INLINE uint16_t Swapped(uint16_t value)
{
    return static_cast<uint16_t>(value << 8 | value >> 8);
}

TAVOLIN_INLINE uint32_t Swapped(uint32_t value)
{
    return value << 24 | (value << 8 & 0xff0000u) | (value >> 8 & 0xff00u) | value >> 24;
}

template <bool isSwapped, typename Sample>
TAVOLIN_INLINE Sample LoadAs(uint8_t const* source)
{
    auto const sample = Load<Sample>(source);
    if constexpr (isSwapped)
        return Swapped(sample);
    else
        return sample;
}

// A constant step makes the loop many times faster.
template <int step>
TAVOLIN_INLINE void Gather8Loop(uint8_t const* source, int count, uint8_t* __restrict target)
{
    for (int i = 0; i < count; ++i)
        target[i] = source[static_cast<long>(i) * step];
}

template <bool isSwapped, int step>
TAVOLIN_INLINE void Gather16Loop(uint8_t const* source, int shift, unsigned mask, int count,
                                 uint16_t* __restrict target)
{
    for (int i = 0; i < count; ++i)
        target[i] = static_cast<uint16_t>(
            static_cast<unsigned>(LoadAs<isSwapped, uint16_t>(source + static_cast<long>(i) * step)) >> shift & mask);
}

template <bool isSwapped, int step>
TAVOLIN_INLINE void Gather32Loop(uint8_t const* source, int count, uint32_t* __restrict target)
{
    for (int i = 0; i < count; ++i)
        target[i] = LoadAs<isSwapped, uint32_t>(source + static_cast<long>(i) * step);
}

TAVOLIN_INLINE void InterleaveLoop(uint8_t const* red, uint8_t const* green, uint8_t const* blue, int count,
                                   uint8_t* __restrict target)
{
    for (int i = 0; i < count; ++i) {
        target[3 * i] = red[i];
        target[3 * i + 1] = green[i];
        target[3 * i + 2] = blue[i];
    }
}

// 255 v / 65535, rounded.
TAVOLIN_INLINE uint8_t Narrowed(uint32_t value)
{
    return static_cast<uint8_t>((value * 255u + 32895u) >> 16);
}

template <bool isSwapped>
TAVOLIN_INLINE void NarrowLoop(uint8_t const* source, int count, uint8_t* __restrict target)
{
    for (int i = 0; i < count; ++i)
        target[i] = Narrowed(LoadAs<isSwapped, uint16_t>(source + static_cast<long>(i) * 2));
}

template <bool isSwapped>
TAVOLIN_INLINE void NarrowWithoutFourthLoop(uint8_t const* source, int pixels, uint8_t* __restrict target)
{
    for (int i = 0; i < pixels; ++i) {
        uint8_t const* pixel = source + static_cast<long>(i) * 8;
        target[3 * i] = Narrowed(LoadAs<isSwapped, uint16_t>(pixel));
        target[3 * i + 1] = Narrowed(LoadAs<isSwapped, uint16_t>(pixel + 2));
        target[3 * i + 2] = Narrowed(LoadAs<isSwapped, uint16_t>(pixel + 4));
    }
}

// Uses a constant step for those of common formats.
TAVOLIN_INLINE void Gather8Steps(uint8_t const* source, int step, int count, uint8_t* target)
{
    switch (step) {
    case 2:
        return Gather8Loop<2>(source, count, target);
    case 3:
        return Gather8Loop<3>(source, count, target);
    case 4:
        return Gather8Loop<4>(source, count, target);
    default:
        for (int i = 0; i < count; ++i)
            target[i] = source[static_cast<long>(i) * step];
    }
}

template <bool isSwapped>
TAVOLIN_INLINE void Gather16Steps(uint8_t const* source, int step, int shift, unsigned mask, int count,
                                  uint16_t* target)
{
    switch (step) {
    case 2:
        return Gather16Loop<isSwapped, 2>(source, shift, mask, count, target);
    case 4:
        return Gather16Loop<isSwapped, 4>(source, shift, mask, count, target);
    case 6:
        return Gather16Loop<isSwapped, 6>(source, shift, mask, count, target);
    case 8:
        return Gather16Loop<isSwapped, 8>(source, shift, mask, count, target);
    default:
        for (int i = 0; i < count; ++i)
            Gather16Loop<isSwapped, 2>(source + static_cast<long>(i) * step, shift, mask, 1, target + i);
    }
}

template <bool isSwapped>
TAVOLIN_INLINE void Gather32Steps(uint8_t const* source, int step, int count, uint32_t* target)
{
    if (step == 4)
        return Gather32Loop<isSwapped, 4>(source, count, target);
    for (int i = 0; i < count; ++i)
        Gather32Loop<isSwapped, 4>(source + static_cast<long>(i) * step, 1, target + i);
}

TAVOLIN_BOTH(Gather8, (uint8_t const* source, int step, int count, uint8_t* target),
             Gather8Steps(source, step, count, target))
TAVOLIN_BOTH(Gather16, (uint8_t const* source, int step, int shift, unsigned mask, int count, uint16_t* target),
             Gather16Steps<false>(source, step, shift, mask, count, target))
TAVOLIN_BOTH(Gather16Swapped, (uint8_t const* source, int step, int shift, unsigned mask, int count, uint16_t* target),
             Gather16Steps<true>(source, step, shift, mask, count, target))
TAVOLIN_BOTH(Gather32, (uint8_t const* source, int step, int count, uint32_t* target),
             Gather32Steps<false>(source, step, count, target))
TAVOLIN_BOTH(Gather32Swapped, (uint8_t const* source, int step, int count, uint32_t* target),
             Gather32Steps<true>(source, step, count, target))
TAVOLIN_BOTH(Interleave, (uint8_t const* red, uint8_t const* green, uint8_t const* blue, int count, uint8_t* target),
             InterleaveLoop(red, green, blue, count, target))
TAVOLIN_BOTH(Narrow, (uint8_t const* source, int count, uint8_t* target), NarrowLoop<false>(source, count, target))
TAVOLIN_BOTH(NarrowSwapped, (uint8_t const* source, int count, uint8_t* target),
             NarrowLoop<true>(source, count, target))
TAVOLIN_BOTH(NarrowWithoutFourth, (uint8_t const* source, int pixels, uint8_t* target),
             NarrowWithoutFourthLoop<false>(source, pixels, target))
TAVOLIN_BOTH(NarrowWithoutFourthSwapped, (uint8_t const* source, int pixels, uint8_t* target),
             NarrowWithoutFourthLoop<true>(source, pixels, target))

} // namespace

void SampleLoops::Gather8(uint8_t const* source, int step, int count, uint8_t* target)
{
    TAVOLIN_BEST(Gather8)(source, step, count, target);
}

void SampleLoops::Gather16(uint8_t const* source, int step, bool isSwapped, int shift, int depth, int count,
                           uint16_t* target)
{
    unsigned const mask = (1u << depth) - 1u;
    auto const gather = isSwapped ? TAVOLIN_BEST(Gather16Swapped) : TAVOLIN_BEST(Gather16);
    gather(source, step, shift, mask, count, target);
}

void SampleLoops::Gather32(uint8_t const* source, int step, bool isSwapped, int count, uint32_t* target)
{
    auto const gather = isSwapped ? TAVOLIN_BEST(Gather32Swapped) : TAVOLIN_BEST(Gather32);
    gather(source, step, count, target);
}

void SampleLoops::Interleave(uint8_t const* red, uint8_t const* green, uint8_t const* blue, int count, uint8_t* target)
{
    TAVOLIN_BEST(Interleave)(red, green, blue, count, target);
}

void SampleLoops::Narrow(uint8_t const* source, bool isSwapped, int count, uint8_t* target)
{
    (isSwapped ? TAVOLIN_BEST(NarrowSwapped) : TAVOLIN_BEST(Narrow))(source, count, target);
}

void SampleLoops::NarrowWithoutFourth(uint8_t const* source, bool isSwapped, int pixels, uint8_t* target)
{
    (isSwapped ? TAVOLIN_BEST(NarrowWithoutFourthSwapped) : TAVOLIN_BEST(NarrowWithoutFourth))(source, pixels, target);
}
