#pragma once

#include "cache/DecodedVideo.h"

#include <memory>
#include <vector>

// A picture like the decoder's, of `size` bytes.
inline std::shared_ptr<DecodedVideoFrame> PictureAt(long long start, long long end = 0, int size = 100)
{
    auto picture = std::make_shared<DecodedVideoFrame>();
    picture->data = new uint8_t[1]();
    picture->size = size;
    picture->startTime = start;
    picture->endTime = end;
    return picture;
}

inline std::shared_ptr<DecodedVideoFrame> EndOfStream(long long end = 0)
{
    auto record = std::make_shared<DecodedVideoFrame>();
    record->endTime = end;
    return record;
}

inline void AppendPicturesAt(DecodedVideo& cache, std::vector<long long> const& starts)
{
    for (long long const start : starts)
        cache.AppendFrame(PictureAt(start));
}

// `count` pictures of 40 ms each, from `start` on.
inline void AppendPictures(DecodedVideo& cache, int count, long long start = 0, int size = 100)
{
    for (int i = 0; i < count; ++i)
        cache.AppendFrame(PictureAt(start + i * 40000LL, start + i * 40000LL + 39999, size));
}

// The starts in ring order, from the earliest slot to the latest.
inline std::vector<long long> StartsOf(DecodedVideo const& cache)
{
    std::vector<long long> starts;
    if (!cache.FirstFrame())
        return starts;
    int slot = 0;
    while (cache.GetFrameAtIndex(slot) != cache.FirstFrame())
        ++slot;
    for (int i = 0; i < cache.GetFrameCount(); ++i) {
        starts.push_back(cache.GetFrameAtIndex(slot)->startTime);
        slot = (slot + 1) % cache.GetMaxFrameCount();
    }
    return starts;
}

inline long long StartOf(std::shared_ptr<DecodedVideoFrame> const& frame)
{
    return frame ? frame->startTime : -1;
}

// A ring of 25 slots that wraps round: 9 pictures of 40 ms from 800000 on, the earliest in slot 20, the one at 1000000
// in slot 0, the latest in slot 3.
inline void WrapRing(DecodedVideo& cache)
{
    AppendPictures(cache, 20);
    for (int i = 20; i < 29; ++i) {
        for (int popped = 0; popped < 3 && cache.FirstFrame()->startTime < 800000; ++popped)
            cache.PopFront();
        cache.UpdateStartEndTimes();
        cache.AppendFrame(PictureAt(i * 40000LL, i * 40000LL + 39999));
    }
}
