#include "source/PacketPictures.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <memory>
#include <vector>

namespace {

struct ParametersDeleter
{
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

// Whether a packet of these bytes begins a picture that is shown.
bool BeginsPicture(AVCodecID codec, std::vector<uint8_t> const& bytes)
{
    std::unique_ptr<AVCodecParameters, ParametersDeleter> const parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = codec;
    PacketPictures pictures(*parameters);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    std::copy(bytes.begin(), bytes.end(), packet->data);
    return pictures.BeginsPicture(*packet);
}

// The frame tag of RFC 6386, 9.1.
TEST(PacketPicturesTest, PassOverHiddenPicturesOfVp8)
{
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP8, {0x10, 0x00, 0x00})); // key
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP8, {0x11, 0x00, 0x00}));
    EXPECT_FALSE(BeginsPicture(AV_CODEC_ID_VP8, {0x01, 0x00, 0x00}));
    EXPECT_FALSE(BeginsPicture(AV_CODEC_ID_VP8, {0x0f, 0xff, 0xff}));
}

// The uncompressed header.
TEST(PacketPicturesTest, PassOverHiddenPicturesOfVp9)
{
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP9, {0x82, 0x00})); // key, shown
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP9, {0x86, 0x00}));
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP9, {0x88, 0x00})); // shows one that is there
    EXPECT_FALSE(BeginsPicture(AV_CODEC_ID_VP9, {0x84, 0x00}));
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP9, {0xb1, 0x00}));       // profile 3
    EXPECT_FALSE(BeginsPicture(AV_CODEC_ID_VP9, {0xb0, 0x00}));      // hidden
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP9, {0x84, 0x00, 0xc1})); // a hidden one, and one to show behind it
}

TEST(PacketPicturesTest, TakeEachPacketOfOtherCodecsForAPicture)
{
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_MPEG4, {0x00}));
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_H264, {0x00}));
    EXPECT_TRUE(BeginsPicture(AV_CODEC_ID_VP8, {}));
}

} // namespace
