#include "decode/VideoDecoder.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

// A program with its own array new and array delete: they put a header before each block and reuse the block freed last
// where it is long enough. The C library's allocator knows nothing true about such a block.
namespace {

constexpr size_t headerSize = 64;

struct Header
{
    size_t room = 0;
    size_t asked = 0;
};

std::mutex mutex;
Header* freedLast = nullptr;

void* NewArray(size_t size)
{
    std::lock_guard const lock(mutex);
    Header* header = nullptr;
    if (freedLast && freedLast->room >= size && size > 100000) {
        header = freedLast;
        freedLast = nullptr;
    } else {
        header = static_cast<Header*>(std::malloc(headerSize + size));
        if (!header)
            std::abort();
        header->room = size;
    }
    header->asked = size;
    return reinterpret_cast<char*>(header) + headerSize;
}

Header* HeaderOf(void* block)
{
    return reinterpret_cast<Header*>(static_cast<char*>(block) - headerSize);
}

void DeleteArray(void* block)
{
    if (!block)
        return;
    std::lock_guard const lock(mutex);
    std::free(freedLast);
    freedLast = HeaderOf(block);
}

} // namespace

void* operator new[](size_t size)
{
    return NewArray(size);
}

void* operator new[](size_t size, std::nothrow_t const&) noexcept
{
    return NewArray(size);
}

void operator delete[](void* block) noexcept
{
    DeleteArray(block);
}

void operator delete[](void* block, size_t) noexcept
{
    DeleteArray(block);
}

TEST(ReplacedArrayNewTest, TheStoreNeverHandsOutABlockThatIsShorterThanAsked)
{
    constexpr int pictureSize = 320 * 240 * 3;
    FfmpegPtr<AVCodecContext> const context(avcodec_alloc_context3(nullptr));
    context->width = 320;
    context->height = 240;
    context->pix_fmt = AV_PIX_FMT_RGB24;
    avcodec_open2(context.get(), avcodec_find_decoder(AV_CODEC_ID_RAWVIDEO), nullptr);
    VideoDecoder decoder;
    decoder.Initialize(context.get(), {1, 1000000}, 320, 240, 1.0f, 0, 25.0, 0, false, false);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    av_new_packet(packet.get(), pictureSize);
    std::memset(packet->data, 77, pictureSize);

    int atTheSameAddress = 0;
    for (int round = 0; round < 20; ++round) {
        Pictures pictures;
        decoder.DecodePacket(packet.get(), pictures, -1);
        auto const old = reinterpret_cast<uintptr_t>(pictures[0]->data);
        ASSERT_GE(HeaderOf(pictures[0]->data)->asked, size_t{pictureSize});
        delete[] pictures[0]->data;
        pictures[0]->data = new uint8_t[pictureSize / 2];
        atTheSameAddress += reinterpret_cast<uintptr_t>(pictures[0]->data) == old ? 1 : 0;
    }
    EXPECT_EQ(atTheSameAddress, 20);
}
