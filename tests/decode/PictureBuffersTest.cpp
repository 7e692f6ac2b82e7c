#include "decode/PictureBuffers.h"

#include "decode/BlockSize.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

extern "C" __attribute__((weak)) int __asan_address_is_poisoned(void const volatile* address);

namespace {

constexpr int pictureSize = 640 * 480 * 3;

} // namespace

TEST(PictureBuffersTest, IsOneStoreForAllWhileAnyoneHoldsIt)
{
    auto const first = PictureBuffers::GetShared();
    EXPECT_EQ(first, PictureBuffers::GetShared());
}

TEST(PictureBuffersTest, HandsAGivenBufferToTheNextPictureOfItsSize)
{
    PictureBuffers store;
    uint8_t* const buffer = store.Take(pictureSize);
    bool const isProven = ProvenBlockSize(buffer) > 0;
    store.Give(buffer, pictureSize);
    if (!isProven)
        GTEST_SKIP() << "the allocator cannot be asked";
    uint8_t* const other = store.Take(pictureSize + 4);
    EXPECT_NE(other, buffer);
    EXPECT_EQ(store.Take(pictureSize), buffer);
    store.Give(buffer, pictureSize);
    store.Give(other, pictureSize + 4);
}

TEST(PictureBuffersTest, LetsAddressSanitizerSeeWhoTouchesAKeptBuffer)
{
    if (!__asan_address_is_poisoned)
        GTEST_SKIP() << "not under AddressSanitizer";
    PictureBuffers store;
    uint8_t* const buffer = store.Take(pictureSize);
    ASSERT_GT(ProvenBlockSize(buffer), 0u);
    store.Give(buffer, pictureSize);
    for (int const place : {0, pictureSize / 2, pictureSize + 63})
        EXPECT_TRUE(__asan_address_is_poisoned(buffer + place)) << place;
    ASSERT_EQ(store.Take(pictureSize), buffer);
    for (int const place : {0, pictureSize / 2, pictureSize + 63})
        EXPECT_FALSE(__asan_address_is_poisoned(buffer + place)) << place;
    EXPECT_TRUE(__asan_address_is_poisoned(buffer + pictureSize + 64));
    store.Give(buffer, pictureSize);
}

TEST(PictureBuffersTest, NeverHandsABufferToTwo)
{
    PictureBuffers store;
    std::vector<uint8_t*> taken;
    for (int round = 0; round < 5; ++round) {
        for (int i = 0; i < 8; ++i)
            taken.push_back(store.Take(pictureSize));
        EXPECT_EQ(std::set<uint8_t*>(taken.begin(), taken.end()).size(), 8u);
        for (uint8_t* buffer : taken)
            store.Give(buffer, pictureSize);
        taken.clear();
    }
}

// The buffers come from array new, so that a host may delete them itself.
TEST(PictureBuffersTest, DealsInArrays)
{
    PictureBuffers store;
    delete[] store.Take(pictureSize);
    store.Give(new uint8_t[pictureSize + 64], pictureSize);
    store.Give(nullptr, pictureSize);
    store.Give(store.Take(16), 16);
}

TEST(PictureBuffersTest, HasRoomToSpareBehindEachBuffer)
{
    PictureBuffers store;
    for (int const size : {0, 1, pictureSize}) {
        uint8_t* const buffer = store.Take(size);
        std::memset(buffer, 0xa5, static_cast<size_t>(size) + 64);
        store.Give(buffer, size);
    }
}

TEST(PictureBuffersTest, KeepsWorkingWhileSizesComeAndGo)
{
    PictureBuffers store;
    for (int i = 0; i < 100; ++i)
        store.Give(store.Take(pictureSize + i * 4), pictureSize + i * 4);
    uint8_t* const first = store.Take(pictureSize);
    uint8_t* const second = store.Take(pictureSize);
    EXPECT_NE(first, second);
    store.Give(first, pictureSize);
    store.Give(second, pictureSize);
}

TEST(PictureBuffersTest, ServesSeveralThreadsAtOnce)
{
    PictureBuffers store;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&store, t] {
            for (int i = 0; i < 200; ++i) {
                int const size = pictureSize + (i % 3) * 1024;
                uint8_t* const buffer = store.Take(size);
                buffer[0] = static_cast<uint8_t>(t);
                buffer[size - 1] = static_cast<uint8_t>(t);
                std::this_thread::yield();
                EXPECT_EQ(buffer[0], t);
                EXPECT_EQ(buffer[size - 1], t);
                store.Give(buffer, size);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}
