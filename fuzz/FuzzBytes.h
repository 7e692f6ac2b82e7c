#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Draws numbers from the fuzzer's bytes; zeros when they are used up.
class FuzzBytes
{
public:
    FuzzBytes(uint8_t const* newData, size_t newSize) : data(newData), size(newSize) {}

    bool IsOver() const { return size == 0; }
    uint8_t const* Rest() const { return data; }
    size_t RestSize() const { return size; }

    uint8_t Byte()
    {
        if (size == 0)
            return 0;
        --size;
        return *data++;
    }

    // Both ends inclusive. Consumes as many bytes as the range needs.
    long long Between(long long oneEnd, long long otherEnd)
    {
        auto const [least, most] = std::minmax(oneEnd, otherEnd);
        auto const range = static_cast<unsigned long long>(most) - static_cast<unsigned long long>(least);
        unsigned long long number = 0;
        for (unsigned long long rest = range; rest > 0; rest >>= 8)
            number = number << 8 | Byte();
        unsigned long long const offset = range + 1 == 0 ? number : number % (range + 1);
        return static_cast<long long>(static_cast<unsigned long long>(least) + offset);
    }

    bool OneIn(int n) { return Between(1, n) == 1; }

    template <typename T, size_t count>
    T const& AnyOf(T const (&choices)[count])
    {
        return choices[Between(0, count - 1)];
    }

private:
    uint8_t const* data;
    size_t size;
};
