#include "tests/faults/FaultyMemory.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

// Nothing in this file may allocate.

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

using FaultyMemory::Of;
using FaultyMemory::On;

std::atomic<bool> armed = false;
std::atomic<Of> failingOf = Of::Everybody;
std::atomic<On> failingOn = On::ThisThread;
std::atomic<int> nthToFail = 0;
std::atomic<bool> failsEvery = false;
std::atomic<int> allocations = 0;
std::atomic<int> failed = 0;
thread_local bool hasAsked = false; // this thread called Fail
std::atomic<long long> liveBlocks = 0;
std::atomic<long long> liveCppBlocks = 0;

bool Fails(Of asker)
{
    if (!armed || (failingOf != Of::Everybody && failingOf != asker) || hasAsked != (failingOn == On::ThisThread))
        return false;
    int const number = ++allocations;
    bool const fails = failsEvery ? number % nthToFail == 0 : number == nthToFail;
    failed += fails ? 1 : 0;
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

void FaultyMemory::Fail(Of of, int nth, bool every, On on)
{
    hasAsked = true;
    failingOf = of;
    failingOn = on;
    nthToFail = nth;
    failsEvery = every;
    allocations = 0;
    failed = 0;
    armed = true;
}

void FaultyMemory::Stop()
{
    armed = false;
    hasAsked = false;
}

int FaultyMemory::AllocationCount()
{
    return allocations;
}

int FaultyMemory::FailedCount()
{
    return failed;
}

long long FaultyMemory::LiveBlocks()
{
    return liveBlocks;
}

long long FaultyMemory::LiveCppBlocks()
{
    return liveCppBlocks;
}
