#pragma once

#include <cstddef>
#include <cstdint>

struct AVCodecContext;
struct AVPacket;

// Proves from a stream's headers that its codec may skip the pictures marked as not used for reference without changing
// any other picture. This is proven where each packet holds one whole frame and the mark covers all pictures:
//
//     H.264 (ITU-T H.264, 7.4.2.1.1)         every sequence has frame_mbs_only_flag: a field may need its other field
//     HEVC (ITU-T H.265, 7.4.2.2)            one sub-layer: the mark covers only pictures of the same sub-layer
//     MPEG-1, MPEG-2 (ISO/IEC 13818-2, 6.3)  progressive sequences, one picture per packet
//     MPEG-4 Visual (ISO/IEC 14496-2, 6.3)   one picture per packet
//
// Other codecs are never proven. One thread at a time.
class SkipProof
{
public:
    // Starts a proof for a newly opened codec: reads its extradata. Keeps no reference.
    void Begin(AVCodecContext const& context);

    // Must see each packet before the codec gets it.
    void Watch(AVPacket const& packet);

    // Whether the proof holds, by all headers and packets seen so far.
    bool Holds() const { return isProven && !isRefuted; }

private:
    enum class Kind { None, H264, Hevc, Mpeg12, Mpeg4 };

    void ReadHeaders(uint8_t const* data, size_t size);
    void ReadUnits(uint8_t const* data, size_t size);
    void ReadUnit(uint8_t const* unit, size_t size);
    void ReadH264Unit(uint8_t const* unit, size_t size);
    void ReadHevcUnit(uint8_t const* unit, size_t size);
    void ReadMpeg12Unit(uint8_t const* unit, size_t size);
    void Expect(bool isHarmless);

    Kind kind = Kind::None;
    size_t lengthBytes = 0; // size of the length field of each unit; 0: units begin with start codes
    int pictures = 0;       // pictures in the current packet (MPEG-1, 2 and 4 only)
    bool isProven = false;
    bool isRefuted = false;
};
