#include "decode/BlockSize.h"
#include "decode/PictureBuffers.h"
#include "decode/VideoDecoder.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <malloc.h>

#include <cstring>
#include <memory>
#include <utility>
#include <vector>

// A program of its own: by default AddressSanitizer does not reuse freed blocks for a long time, and these tests need
// their addresses to be reused.
extern "C" char const* __asan_default_options()
{
    return "quarantine_size_mb=0:thread_local_quarantine_size_kb=0";
}

namespace {

constexpr int rounds = 20;
constexpr int pictureSize = 320 * 240 * 3;

// Lengths for which AddressSanitizer's and glibc's allocators reuse the larger picture's address.
constexpr int closeSize = 320 * 239 * 3;
constexpr int halfSize = 115208;

// Decodes uncompressed pictures, 320 pixels wide, one per call.
class Movie
{
public:
    explicit Movie(int height) : context(avcodec_alloc_context3(nullptr)), packet(av_packet_alloc())
    {
        context->width = 320;
        context->height = height;
        context->pix_fmt = AV_PIX_FMT_RGB24;
        avcodec_open2(context.get(), avcodec_find_decoder(AV_CODEC_ID_RAWVIDEO), nullptr);
        decoder.Initialize(context.get(), {1, 1000000}, 320, height, 1.0f, 0, 25.0, 0, false, false);
        av_new_packet(packet.get(), 320 * height * 3);
        std::memset(packet->data, 77, static_cast<size_t>(packet->size));
    }

    std::shared_ptr<DecodedVideoFrame> Next()
    {
        Pictures pictures;
        decoder.DecodePacket(packet.get(), pictures, -1);
        return pictures.at(0);
    }

private:
    FfmpegPtr<AVCodecContext> context;
    FfmpegPtr<AVPacket> packet;
    VideoDecoder decoder;
};

// The block's size by the allocator; exact with AddressSanitizer.
int RoomOf(DecodedVideoFrame const& record)
{
    return static_cast<int>(malloc_usable_size(record.data));
}

// A block at `address` if the allocator gives it within a few attempts, otherwise anywhere.
uint8_t* NewArrayAt(uintptr_t address, int size)
{
    std::vector<std::unique_ptr<uint8_t[]>> elsewhere;
    for (int attempt = 0; attempt < 30; ++attempt) {
        auto block = std::make_unique<uint8_t[]>(static_cast<size_t>(size));
        if (reinterpret_cast<uintptr_t>(block.get()) == address)
            return block.release();
        elsewhere.push_back(std::move(block));
    }
    return elsewhere.back().release();
}

// Replaces the record's bytes; returns whether the new ones are at the old address.
bool Replace(DecodedVideoFrame& record, int size)
{
    auto const old = reinterpret_cast<uintptr_t>(record.data);
    delete[] record.data;
    record.data = NewArrayAt(old, size);
    return reinterpret_cast<uintptr_t>(record.data) == old;
}

} // namespace

TEST(ReplacedBuffersTest, TheStoreNeverTakesAShorterBlockAtTheSameAddressForItsOwn)
{
    Movie movie(240);
    int atTheSameAddress = 0;
    for (int const size : {closeSize, halfSize, 16}) {
        for (bool const tellsTheSize : {true, false}) {
            for (int round = 0; round < rounds; ++round) {
                auto record = movie.Next();
                atTheSameAddress += Replace(*record, size) ? 1 : 0;
                if (tellsTheSize)
                    record->size = size;
                record.reset();
                auto const next = movie.Next();
                ASSERT_EQ(next->size, pictureSize);
                ASSERT_GE(RoomOf(*next), pictureSize) << "after one of " << size;
            }
        }
    }
    if (atTheSameAddress == 0)
        GTEST_SKIP() << "the allocator never gave the address again";
}

// The large picture's record gets the small one's bytes, at the same address.
TEST(ReplacedBuffersTest, TheStoreNeverTakesABlockMovedFromASmallerPictureForAFullOne)
{
    Movie movie(240);
    Movie smallMovie(239);
    int atTheSameAddress = 0;
    for (int round = 0; round < rounds; ++round) {
        auto large = movie.Next();
        auto const old = reinterpret_cast<uintptr_t>(large->data);
        delete[] std::exchange(large->data, nullptr);
        std::vector<std::shared_ptr<DecodedVideoFrame>> elsewhere;
        auto small = smallMovie.Next();
        for (; elsewhere.size() < 30 && reinterpret_cast<uintptr_t>(small->data) != old; small = smallMovie.Next())
            elsewhere.push_back(small);
        atTheSameAddress += reinterpret_cast<uintptr_t>(small->data) == old ? 1 : 0;
        large->data = std::exchange(small->data, nullptr);
        large.reset();
        ASSERT_GE(RoomOf(*movie.Next()), pictureSize);
    }
    if (atTheSameAddress == 0)
        GTEST_SKIP() << "the allocator never gave the address again";
}

TEST(ReplacedBuffersTest, RecordsFreeWhateverTheHostPutsIn)
{
    Movie movie(240);
    for (int round = 0; round < rounds; ++round) {
        auto emptied = movie.Next();
        uint8_t* const taken = std::exchange(emptied->data, nullptr);
        emptied.reset();
        auto replaced = movie.Next();
        EXPECT_NE(replaced->data, taken);
        delete[] std::exchange(replaced->data, taken); // this record's bytes are freed with the other record
        auto longer = movie.Next();
        Replace(*longer, 2 * pictureSize);
        auto gone = movie.Next();
        delete[] std::exchange(gone->data, nullptr);
        auto swapped = movie.Next();
        std::swap(swapped->data, longer->data);
        auto shrunk = movie.Next();
        shrunk->size = 3;
    }
    EXPECT_GE(RoomOf(*movie.Next()), pictureSize);
}

// Exactly one picture long, without the spare bytes of the store's own blocks.
TEST(ReplacedBuffersTest, TheStoreHandsOutRoomToSpareWhateverItWasGiven)
{
    PictureBuffers store;
    for (int const given : {pictureSize - 1, pictureSize, pictureSize + 63, pictureSize + 64}) {
        store.Give(new uint8_t[static_cast<size_t>(given)], pictureSize);
        uint8_t* const buffer = store.Take(pictureSize);
        std::memset(buffer, 0xa5, pictureSize + 64);
        store.Give(buffer, pictureSize);
    }
}

TEST(ReplacedBuffersTest, TheStoreStillKeepsWhatNobodyReplaced)
{
    PictureBuffers store;
    uint8_t* const buffer = store.Take(pictureSize);
    bool const isProven = ProvenBlockSize(buffer) > 0;
    store.Give(buffer, pictureSize);
    if (!isProven)
        GTEST_SKIP() << "the allocator cannot be asked";
    uint8_t* const other = new uint8_t[pictureSize + 64]; // would get that address if the store had freed its own block
    EXPECT_NE(other, buffer);
    EXPECT_EQ(store.Take(pictureSize), buffer);
    delete[] other;
    store.Give(buffer, pictureSize);
}
