#include "source/PacketPictures.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

// RFC 6386, 9.1: the frame tag begins with the bits key frame (1), version (3), show_frame (1), lowest first.
bool IsShownInVp8(AVPacket const& packet)
{
    return (packet.data[0] >> 4 & 1) != 0;
}

// The uncompressed header of VP9: frame_marker (2), profile (2, and a zero after profile 3), show_existing_frame (1),
// frame_type (1), show_frame (1), highest first. A superframe, which ends in its index, has one picture to show.
bool IsShownInVp9(AVPacket const& packet)
{
    constexpr int superframeMarker = 0xc0;
    if ((packet.data[packet.size - 1] & 0xe0) == superframeMarker)
        return true;
    int const head = packet.data[0];
    constexpr int highestProfile = 0x30;
    int const flags = (head & highestProfile) == highestProfile ? head << 1 : head;
    bool const showsExisting = (flags & 0x08) != 0;
    return showsExisting || (flags & 0x02) != 0;
}

} // namespace

void PacketPictures::ParserDeleter::operator()(AVCodecParserContext* freed) const
{
    av_parser_close(freed);
}

PacketPictures::PacketPictures(AVCodecParameters const& parameters) : codec(parameters.codec_id)
{
    if (parameters.codec_id != AV_CODEC_ID_H264)
        return;
    context.reset(avcodec_alloc_context3(nullptr));
    parser.reset(av_parser_init(codec));
    if (!context || !parser || avcodec_parameters_to_context(context.get(), &parameters) < 0)
        parser.reset();
    else
        parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

PacketPictures::~PacketPictures() = default;

bool PacketPictures::BeginsPicture(AVPacket const& packet)
{
    if (packet.size > 0 && codec == AV_CODEC_ID_VP8)
        return IsShownInVp8(packet);
    if (packet.size > 0 && codec == AV_CODEC_ID_VP9)
        return IsShownInVp9(packet);
    if (!parser)
        return true;
    int const field = FieldOf(packet);
    bool const isSecond = field == awaitedField && field != AV_PICTURE_STRUCTURE_UNKNOWN;
    awaitedField = AV_PICTURE_STRUCTURE_UNKNOWN;
    if (!isSecond && field == AV_PICTURE_STRUCTURE_TOP_FIELD)
        awaitedField = AV_PICTURE_STRUCTURE_BOTTOM_FIELD;
    else if (!isSecond && field == AV_PICTURE_STRUCTURE_BOTTOM_FIELD)
        awaitedField = AV_PICTURE_STRUCTURE_TOP_FIELD;
    return !isSecond;
}

// AV_PICTURE_STRUCTURE_...; a packet that holds both fields tells the first.
int PacketPictures::FieldOf(AVPacket const& packet)
{
    uint8_t* parsed = nullptr;
    int parsedSize = 0;
    parser->picture_structure = AV_PICTURE_STRUCTURE_UNKNOWN;
    av_parser_parse2(parser.get(), context.get(), &parsed, &parsedSize, packet.data, packet.size, packet.pts,
                     packet.dts, packet.pos);
    return parser->picture_structure;
}
