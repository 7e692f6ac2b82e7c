#pragma once

#include "media/FfmpegPtr.h"

#include <memory>

struct AVCodecParameters;
struct AVCodecParserContext;
struct AVPacket;

// Tells by the heads of packets which of them begin a picture that is shown. Most do. Others hold the second field of
// an H.264 picture whose fields have packets of their own, or a hidden picture of VP8 or VP9, to which others refer.
class PacketPictures
{
public:
    explicit PacketPictures(AVCodecParameters const& parameters);
    ~PacketPictures();

    bool BeginsPicture(AVPacket const& packet); // packets in the order of the stream

private:
    int FieldOf(AVPacket const& packet);

    struct ParserDeleter
    {
        void operator()(AVCodecParserContext* parser) const;
    };

    int codec; // FFmpeg's
    FfmpegPtr<AVCodecContext> context;
    std::unique_ptr<AVCodecParserContext, ParserDeleter> parser;
    int awaitedField = 0; // AV_PICTURE_STRUCTURE_...; that completes the picture begun last
};
