#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

// Picture buffers between two lives: that of a record which died goes to the next picture of the same size, because the
// fresh pages of a large picture cost a good part of its conversion.
//
// Buffers come from array new, so that one which a host takes out or puts into a record is as good. That makes the
// address of a buffer no proof of anything: a host may have freed ours and got a shorter one at the same place. What is
// given back is kept only where the allocator itself says that the whole size is there (see BlockSize.h), and freed
// otherwise; what the host says of the size plays no part.
//
// One store for the process, alive while any decoder or any record from it is; it keeps a few buffers at most and lets
// go of those that nobody asks for. Any thread.
class PictureBuffers
{
public:
    static std::shared_ptr<PictureBuffers> GetShared(); // null when memory is out

    // A buffer of `size` bytes and some to spare, with anything in it; null when memory is out.
    uint8_t* Take(int size);

    // Takes over a block of array new, of whatever length, in place of the buffer of Take(size); null is nothing. Does
    // not allocate.
    void Give(uint8_t* buffer, int size);

private:
    using Buffer = std::unique_ptr<uint8_t[]>;

    struct Kept
    {
        Buffer buffer; // null: a free place
        int size = 0;
        unsigned long long givenAt = 0; // `taken` at that moment
    };

    Buffer TakeKept(int size);
    Kept& Oldest();
    size_t KeptBytes() const;

    std::mutex mutex;
    std::array<Kept, 4> kept;
    unsigned long long taken = 0; // buffers handed out so far
};
