#include "decode/SkipProof.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <iterator>

namespace {

// Reads the bits of an H.264 NAL unit, most significant first, without its emulation prevention bytes. Gives zeros
// beyond the end.
class BitReader
{
public:
    BitReader(uint8_t const* newData, size_t newSize) : data(newData), size(newSize) {}

    unsigned Bit()
    {
        if (bitsLeft == 0)
            NextByte();
        --bitsLeft;
        return current >> bitsLeft & 1U;
    }

    unsigned Bits(int count)
    {
        unsigned value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 1 | Bit();
        return value;
    }

    // An Exp-Golomb code, ue(v).
    unsigned Golomb()
    {
        int zeros = 0;
        while (zeros < 32 && !IsAtEnd() && Bit() == 0)
            ++zeros;
        return zeros >= 32 ? 0 : (1U << zeros) - 1 + Bits(zeros);
    }

    // se(v)
    int SignedGolomb()
    {
        unsigned const code = Golomb();
        int const magnitude = static_cast<int>(code / 2 + code % 2);
        return code % 2 == 1 ? magnitude : -magnitude;
    }

    bool IsAtEnd() const { return position >= size && bitsLeft == 0; }

private:
    void NextByte()
    {
        if (position + 1 < size && zeroBytes >= 2 && data[position] == 3) {
            ++position;
            zeroBytes = 0;
        }
        current = position < size ? data[position] : 0;
        ++position;
        zeroBytes = current == 0 ? zeroBytes + 1 : 0;
        bitsLeft = 8;
    }

    uint8_t const* data;
    size_t size;
    size_t position = 0;
    size_t zeroBytes = 0;
    unsigned current = 0;
    int bitsLeft = 0;
};

void PassScalingList(BitReader& bits, int length)
{
    int last = 8;
    int next = 8;
    for (int i = 0; i < length && !bits.IsAtEnd(); ++i) {
        if (next != 0)
            next = (last + bits.SignedGolomb()) & 255;
        last = next == 0 ? last : next;
    }
}

// The fields that only the High profiles have.
void PassHighProfileFields(BitReader& bits)
{
    unsigned const chromaFormat = bits.Golomb();
    if (chromaFormat == 3)
        bits.Bit(); // separate_colour_plane_flag
    bits.Golomb();  // bit depth of luma
    bits.Golomb();  // bit depth of chroma
    bits.Bit();     // lossless bypass
    if (bits.Bit() == 0)
        return;
    int const lists = chromaFormat == 3 ? 12 : 8;
    for (int i = 0; i < lists; ++i) {
        if (bits.Bit() != 0)
            PassScalingList(bits, i < 6 ? 16 : 64);
    }
}

void PassPictureOrderFields(BitReader& bits)
{
    unsigned const type = bits.Golomb();
    if (type == 0)
        bits.Golomb();
    if (type != 1)
        return;
    bits.Bit();
    bits.SignedGolomb();
    bits.SignedGolomb();
    unsigned const count = bits.Golomb();
    for (unsigned i = 0; i < count && !bits.IsAtEnd(); ++i)
        bits.SignedGolomb();
}

bool HasHighProfileFields(unsigned profile)
{
    constexpr unsigned profiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(profiles), std::end(profiles), profile) != std::end(profiles);
}

// Whether the sequence parameter set has frame_mbs_only_flag (ITU-T H.264, 7.3.2.1.1). `parameters` begins behind the
// NAL unit header.
bool SaysFramesOnly(uint8_t const* parameters, size_t size)
{
    BitReader bits(parameters, size);
    unsigned const profile = bits.Bits(8);
    bits.Bits(16); // constraints and level
    bits.Golomb(); // seq_parameter_set_id
    if (HasHighProfileFields(profile))
        PassHighProfileFields(bits);
    bits.Golomb(); // log2_max_frame_num_minus4
    PassPictureOrderFields(bits);
    bits.Golomb(); // max_num_ref_frames
    bits.Bit();    // gaps_in_frame_num_value_allowed_flag
    bits.Golomb(); // width
    bits.Golomb(); // height
    return !bits.IsAtEnd() && bits.Bit() == 1;
}

bool BeginsWithStartCode(uint8_t const* data, size_t size)
{
    return size >= 4 && data[0] == 0 && data[1] == 0 && (data[2] == 1 || (data[2] == 0 && data[3] == 1));
}

// The position behind the next start code, or `end`.
uint8_t const* AfterStartCode(uint8_t const* data, uint8_t const* end)
{
    while (end - data >= 3) {
        if (data[2] > 1)
            data += 3;
        else if (data[0] == 0 && data[1] == 0 && data[2] == 1)
            return data + 3;
        else
            ++data;
    }
    return end;
}

size_t BigEndian(uint8_t const* data, size_t bytes)
{
    size_t value = 0;
    for (size_t i = 0; i < bytes; ++i)
        value = value << 8 | data[i];
    return value;
}

} // namespace

void SkipProof::Begin(AVCodecContext const& context)
{
    *this = SkipProof();
    switch (context.codec_id) {
    case AV_CODEC_ID_H264:
        kind = Kind::H264;
        break;
    case AV_CODEC_ID_HEVC:
        kind = Kind::Hevc;
        break;
    case AV_CODEC_ID_MPEG1VIDEO:
    case AV_CODEC_ID_MPEG2VIDEO:
        kind = Kind::Mpeg12;
        break;
    case AV_CODEC_ID_MPEG4:
        kind = Kind::Mpeg4;
        break;
    default:
        return;
    }
    isProven = context.codec_id == AV_CODEC_ID_MPEG1VIDEO || kind == Kind::Mpeg4;
    if (context.extradata && context.extradata_size > 0)
        ReadHeaders(context.extradata, static_cast<size_t>(context.extradata_size));
}

void SkipProof::Watch(AVPacket const& packet)
{
    if (kind == Kind::None || isRefuted || !packet.data || packet.size <= 0)
        return;
    if (av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, nullptr))
        isRefuted = true; // new parameters, with headers of their own
    pictures = 0;
    ReadUnits(packet.data, static_cast<size_t>(packet.size));
    bool const countsPictures = kind == Kind::Mpeg12 || kind == Kind::Mpeg4;
    isRefuted = isRefuted || (countsPictures && pictures != 1);
}

// Reads the extradata: units with start codes, or an ISO/IEC 14496-15 record (avcC, hvcC).
void SkipProof::ReadHeaders(uint8_t const* data, size_t size)
{
    bool const isRecord = (kind == Kind::H264 || kind == Kind::Hevc) && !BeginsWithStartCode(data, size);
    if (!isRecord) {
        ReadUnits(data, size);
        return;
    }
    size_t const lengthAt = kind == Kind::H264 ? 4 : 21;
    if (size <= lengthAt + 1) {
        isRefuted = true;
        return;
    }
    lengthBytes = (data[lengthAt] & 3U) + 1;
    size_t const arrays = kind == Kind::H264 ? 1 : data[22]; // for H.264 only the sequence parameter sets matter
    size_t at = kind == Kind::H264 ? 5 : 23;
    for (size_t array = 0; array < arrays; ++array) {
        size_t const headBytes = kind == Kind::H264 ? 1 : 3;
        if (at + headBytes > size)
            break;
        size_t const count = kind == Kind::H264 ? data[at] & 31U : BigEndian(data + at + 1, 2);
        at += headBytes;
        for (size_t i = 0; i < count && at + 2 <= size; ++i) {
            size_t const length = std::min(BigEndian(data + at, 2), size - at - 2);
            ReadUnit(data + at + 2, length);
            at += 2 + length;
        }
    }
}

void SkipProof::ReadUnits(uint8_t const* data, size_t size)
{
    uint8_t const* const end = data + size;
    if (lengthBytes == 0) {
        for (uint8_t const* unit = AfterStartCode(data, end); unit != end; unit = AfterStartCode(unit, end))
            ReadUnit(unit, static_cast<size_t>(end - unit));
        return;
    }
    while (static_cast<size_t>(end - data) > lengthBytes) {
        size_t const length = BigEndian(data, lengthBytes);
        data += lengthBytes;
        size_t const present = std::min(length, static_cast<size_t>(end - data));
        ReadUnit(data, present);
        data += present;
    }
}

// `size` may be too large for a unit between start codes; only its header fields are read.
void SkipProof::ReadUnit(uint8_t const* unit, size_t size)
{
    if (size == 0)
        return;
    constexpr uint8_t mpeg4Picture = 0xb6;
    switch (kind) {
    case Kind::H264:
        ReadH264Unit(unit, size);
        break;
    case Kind::Hevc:
        ReadHevcUnit(unit, size);
        break;
    case Kind::Mpeg12:
        ReadMpeg12Unit(unit, size);
        break;
    case Kind::Mpeg4:
        pictures += unit[0] == mpeg4Picture ? 1 : 0;
        break;
    case Kind::None:
        break;
    }
}

void SkipProof::ReadH264Unit(uint8_t const* unit, size_t size)
{
    constexpr unsigned sequence = 7;
    if ((unit[0] & 31U) == sequence)
        Expect(SaysFramesOnly(unit + 1, size - 1));
}

void SkipProof::ReadHevcUnit(uint8_t const* unit, size_t size)
{
    constexpr unsigned firstHeader = 32; // smaller types are picture slices
    constexpr unsigned sequence = 33;
    if (size < 3)
        return;
    unsigned const type = unit[0] >> 1 & 63U;
    bool const isBaseLayer = (unit[0] & 1U) == 0 && unit[1] >> 3 == 0;
    if (type == sequence && isBaseLayer)
        Expect((unit[2] >> 1 & 7U) == 0); // sps_max_sub_layers_minus1
    if (type < firstHeader && (unit[1] & 7U) != 1)
        isRefuted = true;
}

void SkipProof::ReadMpeg12Unit(uint8_t const* unit, size_t size)
{
    constexpr uint8_t picture = 0x00;
    constexpr uint8_t extension = 0xb5;
    if (unit[0] == picture)
        ++pictures;
    bool const isSequence = unit[0] == extension && size >= 3 && unit[1] >> 4 == 1;
    if (isSequence)
        Expect((unit[2] & 8U) != 0);
}

void SkipProof::Expect(bool isHarmless)
{
    isProven = true;
    isRefuted = isRefuted || !isHarmless;
}
