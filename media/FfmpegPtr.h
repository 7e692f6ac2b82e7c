#pragma once

#include "TavolinAVExport.h"

#include <memory>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwrContext;
struct SwsContext;

// Frees FFmpeg's objects the way each of them wants it, so that any header can hold one without FFmpeg's own headers.
struct TAVOLINAV_EXPORT FfmpegDeleter
{
    void operator()(AVCodecContext* context) const;  // closes the codec, too
    void operator()(AVFormatContext* context) const; // of an opened input
    void operator()(AVFrame* frame) const;
    void operator()(AVPacket* packet) const; // unreferences what it holds
    void operator()(SwrContext* context) const;
    void operator()(SwsContext* context) const;
};

template <typename T>
using FfmpegPtr = std::unique_ptr<T, FfmpegDeleter>;
