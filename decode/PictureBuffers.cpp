#include "decode/PictureBuffers.h"

#include "decode/BlockSize.h"

#include <algorithm>
#include <new>
#include <tuple>
#include <utility>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size)
#define ASAN_UNPOISON_MEMORY_REGION(address, size)
#endif

namespace {

constexpr int smallestKept = 128 * 1024; // bytes; the allocator serves smaller blocks from pages it already has
constexpr size_t mostKeptBytes = 64 * 1024 * 1024;
constexpr unsigned long long unusedAfter = 32; // buffers taken since it was given back
constexpr size_t spareBytes = 64;              // room for a converter that rounds its last step up

// AddressSanitizer reports who still touches a buffer that is kept, as it does for one that is freed.
void Poison([[maybe_unused]] uint8_t const* buffer, [[maybe_unused]] int size)
{
    ASAN_POISON_MEMORY_REGION(buffer, static_cast<size_t>(size) + spareBytes);
}

void Unpoison([[maybe_unused]] uint8_t const* buffer, [[maybe_unused]] int size)
{
    ASAN_UNPOISON_MEMORY_REGION(buffer, static_cast<size_t>(size) + spareBytes);
}

} // namespace

std::shared_ptr<PictureBuffers> PictureBuffers::GetShared()
{
    static std::mutex mutex;
    static std::weak_ptr<PictureBuffers> shared;
    std::lock_guard const lock(mutex);
    auto store = shared.lock();
    if (!store) {
        store.reset(new (std::nothrow) PictureBuffers);
        shared = store;
    }
    return store;
}

uint8_t* PictureBuffers::Take(int size)
{
    if (Buffer buffer = TakeKept(size)) {
        Unpoison(buffer.get(), size);
        return buffer.release();
    }
    return new (std::nothrow) uint8_t[static_cast<size_t>(size) + spareBytes];
}

PictureBuffers::Buffer PictureBuffers::TakeKept(int size)
{
    Buffer unused; // declared before the lock: freed after it is released
    std::lock_guard const lock(mutex);
    ++taken;
    auto const match =
        std::find_if(kept.begin(), kept.end(), [size](Kept const& one) { return one.buffer && one.size == size; });
    Buffer found = match == kept.end() ? nullptr : std::move(match->buffer);
    if (Kept& oldest = Oldest(); oldest.buffer && taken - oldest.givenAt > unusedAfter)
        unused = std::move(oldest.buffer);
    return found;
}

void PictureBuffers::Give(uint8_t* buffer, int size)
{
    Buffer given(buffer);
    auto const bytes = static_cast<size_t>(size);
    if (!given || size < smallestKept || bytes > mostKeptBytes || ProvenBlockSize(buffer) < bytes + spareBytes)
        return;
    Poison(buffer, size);
    std::array<Buffer, std::tuple_size_v<decltype(kept)>> displaced; // freed after the lock is released
    std::lock_guard const lock(mutex);
    for (size_t i = 0; i < displaced.size() && KeptBytes() + bytes > mostKeptBytes; ++i)
        displaced[i] = std::move(Oldest().buffer);
    auto const place = std::find_if(kept.begin(), kept.end(), [](Kept const& one) { return !one.buffer; });
    Kept& target = place == kept.end() ? Oldest() : *place;
    target.buffer.swap(given);
    target.size = size;
    target.givenAt = taken;
}

PictureBuffers::Kept& PictureBuffers::Oldest()
{
    return *std::min_element(kept.begin(), kept.end(), [](Kept const& a, Kept const& b) {
        if (!a.buffer || !b.buffer)
            return a.buffer && !b.buffer; // free entries come last
        return a.givenAt < b.givenAt;
    });
}

size_t PictureBuffers::KeptBytes() const
{
    size_t bytes = 0;
    for (Kept const& one : kept)
        bytes += one.buffer ? static_cast<size_t>(one.size) : 0;
    return bytes;
}
