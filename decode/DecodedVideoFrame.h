#pragma once

#include "TavolinAVExport.h"

#include <QString>

#include <cstdint>
#include <memory>

class PictureBuffers;

// One decoded picture: packed 24-bit RGB, rows of 3 x width bytes rounded up to a multiple of 4, not rotated. Times are
// microseconds from the stream's first picture, both ends inclusive. Shared between the host and the video cache, which
// changes its times; the last holder frees it, on any thread.
//
// Two kinds of record hold no picture. End of stream: everything zero, `data` null. Change of the coded size: `status`
// 1, one byte of data, and the new coded width and height. Check `status` before drawing.
struct TAVOLINAV_EXPORT DecodedVideoFrame
{
    DecodedVideoFrame(); // an end-of-stream record

    // Copies `size` bytes from `source`; `data` stays null when `size` is less than 1.
    DecodedVideoFrame(uint8_t const* source, int size, int width, int height, long long startTime, double frameRate,
                      int rotation, bool isLinear);
    ~DecodedVideoFrame();
    DecodedVideoFrame(DecodedVideoFrame const&) = delete;
    DecodedVideoFrame& operator=(DecodedVideoFrame const&) = delete;

    uint8_t* data = nullptr; // owned, from array new; a host may take it or replace it by another array
    int size = 0;            // bytes in data
    int width = 0;           // pixels, with the pixel aspect ratio applied
    int height = 0;          // pixels
    long long startTime = 0; // first microsecond at which it is shown
    long long endTime = 0;   // 0 until a host or the cache sets it
    double frameRate = 0.0;  // the stream's pictures per second when it was decoded
    int rotation = 0;        // degrees to rotate clockwise for display
    bool isLinear = false;   // the source is in linear light; the bytes are already gamma-encoded
    int status = 0;          // 1: the coded size has changed
    QString text;            // set by the host

private:
    friend class VideoDecoder;

    // Takes `data` from the store, which gets it back when the record dies and frees it if it turns out to be shorter
    // than `bytes`. If a host has set `data` to another address, the record frees that block itself.
    void TakeFromStore(std::shared_ptr<PictureBuffers> const& from, int bytes);

    std::shared_ptr<PictureBuffers> store;
    uint8_t* storeBuffer = nullptr;
    int storeSize = 0;
};
