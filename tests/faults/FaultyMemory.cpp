#include "tests/faults/FaultyMemory.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

// Nothing in here may allocate.

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

using FaultyMemory::Of;

struct State
{
    bool armed = false;
    Of of = Of::Everybody;
    int nth = 0;
    bool every = false;
    int allocations = 0;
    int failed = 0;
};

thread_local State state;
std::atomic<long long> liveBlocks = 0;
std::atomic<long long> liveCppBlocks = 0;

bool Fails(Of asker)
{
    if (!state.armed || (state.of != Of::Everybody && state.of != asker))
        return false;
    ++state.allocations;
    bool const fails = state.every ? state.allocations % state.nth == 0 : state.allocations == state.nth;
    state.failed += fails ? 1 : 0;
    return fails;
}

void* Counted(void* block)
{
    liveBlocks += block ? 1 : 0;
    return block;
}

void* Failed()
{
    errno = ENOMEM;
    return nullptr;
}

void* AllocateForCpp(size_t size)
{
    if (Fails(Of::Cpp))
        return nullptr;
    void* block = Counted(__libc_malloc(size > 0 ? size : 1));
    liveCppBlocks += block ? 1 : 0;
    return block;
}

void* AllocateForCppOrThrow(size_t size)
{
    if (void* block = AllocateForCpp(size))
        return block;
    throw std::bad_alloc();
}

void FreeForCpp(void* block)
{
    liveCppBlocks -= block ? 1 : 0;
    std::free(block);
}

void* AllocateAligned(size_t alignment, size_t size)
{
    return Fails(Of::Ffmpeg) ? Failed() : Counted(__libc_memalign(alignment, size));
}

} // namespace

extern "C" {

void* malloc(size_t size)
{
    return Fails(Of::Everybody) ? Failed() : Counted(__libc_malloc(size));
}

void* calloc(size_t count, size_t size)
{
    return Fails(Of::Everybody) ? Failed() : Counted(__libc_calloc(count, size));
}

void* realloc(void* block, size_t size)
{
    if (size > 0 && Fails(Of::Everybody))
        return Failed();
    void* moved = __libc_realloc(block, size);
    liveBlocks += !block && moved ? 1 : 0;
    liveBlocks -= block && !moved && size == 0 ? 1 : 0;
    return moved;
}

int posix_memalign(void** block, size_t alignment, size_t size)
{
    void* aligned = AllocateAligned(alignment, size);
    if (!aligned)
        return ENOMEM;
    *block = aligned;
    return 0;
}

void* aligned_alloc(size_t alignment, size_t size)
{
    return AllocateAligned(alignment, size);
}

void* memalign(size_t alignment, size_t size)
{
    return AllocateAligned(alignment, size);
}

void free(void* block)
{
    liveBlocks -= block ? 1 : 0;
    __libc_free(block);
}

} // extern "C"

void* operator new(size_t size)
{
    return AllocateForCppOrThrow(size);
}

void* operator new[](size_t size)
{
    return AllocateForCppOrThrow(size);
}

void* operator new(size_t size, std::nothrow_t const&) noexcept
{
    return AllocateForCpp(size);
}

void* operator new[](size_t size, std::nothrow_t const&) noexcept
{
    return AllocateForCpp(size);
}

void operator delete(void* block) noexcept
{
    FreeForCpp(block);
}

void operator delete[](void* block) noexcept
{
    FreeForCpp(block);
}

void operator delete(void* block, size_t) noexcept
{
    FreeForCpp(block);
}

void operator delete[](void* block, size_t) noexcept
{
    FreeForCpp(block);
}

void FaultyMemory::Fail(Of of, int nth, bool every)
{
    state = State();
    state.of = of;
    state.nth = nth;
    state.every = every;
    state.armed = true;
}

void FaultyMemory::Stop()
{
    state.armed = false;
}

int FaultyMemory::AllocationCount()
{
    return state.allocations;
}

int FaultyMemory::FailedCount()
{
    return state.failed;
}

long long FaultyMemory::LiveBlocks()
{
    return liveBlocks;
}

long long FaultyMemory::LiveCppBlocks()
{
    return liveCppBlocks;
}
