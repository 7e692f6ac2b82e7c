#pragma once

#include "TavolinAVExport.h"

#include <QString>

#include <cstdint>
#include <memory>

class PictureBuffers;

// One decoded picture: packed 24-bit RGB, rows of 3 x width bytes rounded up to a multiple of 4, not yet rotated.
// Times are microseconds from the stream's first picture, both ends inclusive. Shared between the host and the video
// cache, which changes its times; the last holder releases it, on any thread.
//
// Two kinds are marks and no pictures. The end of the stream: everything zero, `data` null. A change of the coded size:
// `status` 1, one byte of data, and the new coded width and height; whoever draws checks `status` first.
struct TAVOLINAV_EXPORT DecodedVideoFrame
{
    DecodedVideoFrame(); // the end of the stream

    // Copies `size` bytes from `source`; `data` stays null when `size` is less than 1.
    DecodedVideoFrame(uint8_t const* source, int size, int width, int height, long long startTime, double frameRate,
                      int rotation, bool isLinear);
    ~DecodedVideoFrame();
    DecodedVideoFrame(DecodedVideoFrame const&) = delete;
    DecodedVideoFrame& operator=(DecodedVideoFrame const&) = delete;

    uint8_t* data = nullptr; // owned, from array new; a host may take it out, or put in another array in its place
    int size = 0;            // bytes in data
    int width = 0;           // pixels, the aspect ratio of the pixels already applied
    int height = 0;          // pixels
    long long startTime = 0; // the first moment at which it shows
    long long endTime = 0;   // not set by the decoder: 0 until a host or the cache sets it
    double frameRate = 0.0;  // pictures per second of its stream when it was decoded
    int rotation = 0;        // clockwise degrees by which to turn the picture for display
    bool isLinear = false;   // the source is in linear light; the bytes are gamma-encoded already
    int status = 0;          // 1: the coded size has changed
    QString text;            // the host's

private:
    friend class VideoDecoder;

    // Makes `data` a buffer of the store, which gets it back with the record's end. The store frees what turns out not
    // to be of that length; a block at another address is freed here.
    void TakeFromStore(std::shared_ptr<PictureBuffers> const& from, int bytes);

    std::shared_ptr<PictureBuffers> store;
    uint8_t* storeBuffer = nullptr;
    int storeSize = 0;
};
