#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

// Reuses picture buffers: the buffer of a record that dies serves the next picture of the same size. Fresh pages for a
// large picture would cost a good part of its conversion.
//
// Buffers come from array new, so a host may take one out of a record or put another in. A buffer's address therefore
// proves nothing: a host may have freed our buffer and got a shorter one at the same address. A returned buffer is kept
// only if the allocator confirms its full size (see BlockSize.h), and freed otherwise; the record's size field is
// ignored.
//
// One store for the process, alive while any decoder or any of its records is alive. It keeps at most a few buffers and
// frees those that have not been used for a while. Any thread.
class PictureBuffers
{
public:
    static std::shared_ptr<PictureBuffers> GetShared(); // null when out of memory

    // An uninitialised buffer of at least `size` bytes, with some spare; null when out of memory.
    uint8_t* Take(int size);

    // Takes ownership of a block from array new, of any length, in place of the buffer of Take(size). Null is ignored.
    // Does not allocate.
    void Give(uint8_t* buffer, int size);

private:
    using Buffer = std::unique_ptr<uint8_t[]>;

    struct Kept
    {
        Buffer buffer; // null: free entry
        int size = 0;
        unsigned long long givenAt = 0; // value of `taken` when the buffer was given back
    };

    Buffer TakeKept(int size);
    Kept& Oldest();
    size_t KeptBytes() const;

    std::mutex mutex;
    std::array<Kept, 4> kept;
    unsigned long long taken = 0; // buffers handed out so far
};
