#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

// Memory aligned to 64 bytes, for vector registers.
class AlignedBytes
{
public:
    static constexpr size_t alignment = 64;

    // At least `size` uninitialised bytes; invalidates the result of an earlier call. Null when out of memory.
    uint8_t* Get(size_t size)
    {
        if (size > capacity || !bytes) {
            bytes.reset(static_cast<uint8_t*>(::operator new (size, std::align_val_t{alignment}, std::nothrow)));
            capacity = bytes ? size : 0;
        }
        return bytes.get();
    }

private:
    struct Deleter
    {
        void operator()(uint8_t* memory) const { ::operator delete (memory, std::align_val_t{alignment}); }
    };

    std::unique_ptr<uint8_t, Deleter> bytes;
    size_t capacity = 0;
};
