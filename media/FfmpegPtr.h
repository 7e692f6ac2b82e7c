#pragma once

#include "TavolinAVExport.h"

#include <memory>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwrContext;
struct SwsContext;

// Frees FFmpeg objects, each by its own function. Needs no FFmpeg header, so any header can hold an FfmpegPtr.
struct TAVOLINAV_EXPORT FfmpegDeleter
{
    void operator()(AVCodecContext* context) const;  // closes the codec as well
    void operator()(AVFormatContext* context) const; // of an opened input
    void operator()(AVFrame* frame) const;
    void operator()(AVPacket* packet) const; // unreferences its data as well
    void operator()(SwrContext* context) const;
    void operator()(SwsContext* context) const;
};

template <typename T>
using FfmpegPtr = std::unique_ptr<T, FfmpegDeleter>;
