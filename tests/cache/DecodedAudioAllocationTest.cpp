#include "tests/cache/AudioScene.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

// Every allocation goes through these functions; sanitizers replace them and offer a hook instead.
namespace {

std::atomic<long long> allocations{0};

} // namespace

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TAVOLIN_HAS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TAVOLIN_HAS_SANITIZER 1
#endif

#if defined(TAVOLIN_HAS_SANITIZER)

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(void const volatile*, size_t),
                                                         void (*)(void const volatile*));

namespace {

int const hooks = __sanitizer_install_malloc_and_free_hooks([](void const volatile*, size_t) { ++allocations; },
                                                            [](void const volatile*) {});

} // namespace

#else

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size)
{
    ++allocations;
    return __libc_realloc(memory, size);
}

void* aligned_alloc(size_t alignment, size_t size)
{
    ++allocations;
    return __libc_memalign(alignment, size);
}
}

#endif

namespace {

template <typename Work>
long long CountAllocations(Work work)
{
    long long const before = allocations;
    work();
    return allocations - before;
}

} // namespace

TEST(DecodedAudioAllocationTest, CountsWhatAllocates)
{
    EXPECT_EQ(CountAllocations([] {}), 0);
    EXPECT_GT(CountAllocations([] { CountingFrame(0); }), 0);
    DecodedAudio cache;
    EXPECT_GT(CountAllocations([&cache] { cache.SetMaxFrameCount(100); }), 0); // inside the library and Qt too
}

// Every path through the fill: lookup, next frame, silence, speeds, volumes, resets, drift both ways, dropped frames.
TEST(DecodedAudioAllocationTest, FillsWithoutAllocating)
{
    DecodedAudio cache;
    cache.SetMaxFrameCount(200);
    AppendCountingFrames(cache, 100);
    std::vector<short> buffer(2 * 512);
    long long count = 0;
    auto const fill = [&](int frames, int channels, long long time, double volume, bool reset, double speed) {
        count += CountAllocations(
            [&] { cache.PaFillBuffer(buffer.data(), frames, channels, 1000, time, volume, reset, speed); });
    };
    fill(512, 1, 0, 1.0, true, 1.0);
    for (double const speed : {0.25, 0.5, 0.9, 1.0, 1.1, 2.0, 4.0})
        for (double const volume : {0.0, 0.5, 1.0, 3.0})
            for (int const channels : {1, 2})
                for (long long time = -20000; time < 1100000; time += 250000)
                    fill(100, channels, time, volume, time == -20000, speed);
    for (int i = 0; i < 12; ++i) // the clock drifts one way, then the other
        fill(10, 1, i < 6 ? 500000 + i * 40000 : 100000 - i * 30000, 1.0, i == 0, 1.0);
    fill(10, 1, 0, 1.0, true, 1.0);
    cache.ForceClear();
    fill(10, 1, 10000, 1.0, false, 1.0); // releases the frame as its last holder
    EXPECT_EQ(count, 0);
}
