#pragma once

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

// One step of FFmpeg's interface, as both decoders offer it: sends `packet` unless null, then receives into `frame`. 0
// or the negative FFmpeg code of a failure, also for a null context or frame; `endOfStream` is never cleared.
int TakeCodecStep(AVCodecContext* context, AVPacket const* packet, AVFrame* frame, bool& gotFrame, bool& endOfStream);
