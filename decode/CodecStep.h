#pragma once

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

// Sends `packet` unless null, then receives one frame into `frame`; both decoders offer this. Returns 0 or the negative
// FFmpeg error code, also for a null context or frame. Sets `gotFrame`; sets `endOfStream` at the end and never clears
// it.
int TakeCodecStep(AVCodecContext* context, AVPacket const* packet, AVFrame* frame, bool& gotFrame, bool& endOfStream);

// A drain normally ends by itself, but a context that was never opened would return errors forever.
constexpr int mostFruitlessReceives = 100;

// True for a packet that drains the codec.
bool IsEmptyPacket(AVPacket const& packet);
