#pragma once

#include <cstddef>
#include <cstdint>

struct AVCodecContext;
struct AVPacket;

// Tells whether a codec may leave out the pictures of a stream that nothing refers to, without any other picture
// changing. That is proven where each packet holds one whole frame and "nothing refers to it" holds for all pictures:
//
//     H.264 (ITU-T H.264, 7.4.2.1.1)         each sequence says frames only; a field would miss its other field
//     HEVC (ITU-T H.265, 7.4.2.2)            one sub-layer; "non-reference" speaks of the picture's own sub-layer only
//     MPEG-1, MPEG-2 (ISO/IEC 13818-2, 6.3)  no interlaced sequence, one picture a packet
//     MPEG-4 Visual (ISO/IEC 14496-2, 6.3)   one picture a packet
//
// For any other codec there is no proof. One thread at a time.
class SkipProof
{
public:
    // For a newly opened codec, whose out-of-band headers are read. Keeps no reference.
    void Begin(AVCodecContext const& context);

    // Each packet that the codec gets, before it gets it.
    void Watch(AVPacket const& packet);

    // By all headers and packets seen so far.
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
    size_t lengthBytes = 0; // of the length before each unit; 0: units begin with start codes
    int pictures = 0;       // in the packet being read, of MPEG-1, 2 and 4
    bool isProven = false;
    bool isRefuted = false;
};
