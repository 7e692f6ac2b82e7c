#pragma once

#include "media/FfmpegPtr.h"

#include <memory>

struct AVCodecParameters;
struct AVCodecParserContext;
struct AVPacket;

// Tells which packets of a stream begin a picture that is shown, by their heads alone. Most do; not so the second field
// of a picture of H.264 whose fields have packets of their own, nor a picture of VP8 or VP9 that others only refer to.
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
