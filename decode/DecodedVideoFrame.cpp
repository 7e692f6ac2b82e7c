#include "decode/DecodedVideoFrame.h"

#include "decode/PictureBuffers.h"

#include <cstring>
#include <new>

DecodedVideoFrame::DecodedVideoFrame() = default;

DecodedVideoFrame::DecodedVideoFrame(uint8_t const* source, int size, int width, int height, long long startTime,
                                     double frameRate, int rotation, bool isLinear)
    : size(size),
      width(width),
      height(height),
      startTime(startTime),
      frameRate(frameRate),
      rotation(rotation),
      isLinear(isLinear)
{
    if (size < 1)
        return;
    data = new (std::nothrow) uint8_t[static_cast<size_t>(size)]();
    if (data)
        std::memcpy(data, source, static_cast<size_t>(size));
    else
        this->size = 0; // out of memory: `size` must not promise data
}

DecodedVideoFrame::~DecodedVideoFrame()
{
    if (store && data == storeBuffer)
        store->Give(data, storeSize);
    else
        delete[] data;
    data = nullptr;
}

void DecodedVideoFrame::TakeFromStore(std::shared_ptr<PictureBuffers> const& from, int bytes)
{
    data = from->Take(bytes);
    if (!data)
        return;
    size = bytes;
    store = from;
    storeBuffer = data;
    storeSize = bytes;
}
