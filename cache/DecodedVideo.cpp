#include "cache/DecodedVideo.h"

#include "cache/WrappingTime.h"
#include "common/Settings.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int leastCapacity = 25;
constexpr int fewFrames = 30; // below this the cache grows forwards, in any play direction

int WrappedProduct(int a, int b, int c)
{
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b) * static_cast<unsigned>(c));
}

// A fifth more slots than the budget has room for, so that the budget is the limit. A size beyond 32 bits gives the
// minimum.
int CapacityFor(long long budget, int frameBytes)
{
    if (frameBytes <= 0)
        return leastCapacity;
    long long const wholeFrames = budget / frameBytes;
    float const frames = static_cast<float>(wholeFrames) * 1.2f;
    if (frames >= 2147483648.0f)
        return leastCapacity;
    return std::max(static_cast<int>(frames), leastCapacity);
}

// Removes whole rounds from a walk, which do not change where it ends; keeps one round, which passes every slot where
// the walk can stop.
long long WithoutRounds(long long steps, int capacity)
{
    return steps < 2LL * capacity ? steps : capacity + steps % capacity;
}

} // namespace

DecodedVideo::DecodedVideo()
{
    for (auto& slotArray : ring.frameBuffers)
        slotArray.resize(leastCapacity);
}

DecodedVideo::~DecodedVideo()
{
    ForceClear();
}

// --- The ring (what it holds, and its ends) ---

void DecodedVideo::Clear()
{
    ring.Retire();
    cacheSize = 0;
    UpdateStartEndTimes();
}

void DecodedVideo::ForceClear()
{
    ring.ReleaseAll();
    cacheSize = 0;
    UpdateStartEndTimes();
}

void DecodedVideo::UpdateStartEndTimes()
{
    auto const& first = ring.GetFirst();
    auto const& last = ring.GetLast();
    cacheStartTime = first ? first->startTime : 0;
    cacheEndTime = last ? last->endTime : 0;
}

void DecodedVideo::PushBack(std::shared_ptr<DecodedVideoFrame> frame)
{
    if (!frame)
        return;
    if (ring.lastIndex < 0) {
        ring.SetFirstIndex(0);
        ring.SetLastIndex(0);
    } else {
        if (auto const& last = ring.GetLast())
            last->endTime = WrappedDifference(frame->startTime, 1);
        ring.SetLastIndex(ring.GetSlotAfter(ring.lastIndex));
    }
    if (ring.GetLast())
        PopFront();
    cacheSize += frame->size;
    ring.SetFrame(ring.lastIndex, std::move(frame));
}

void DecodedVideo::PushFront(std::shared_ptr<DecodedVideoFrame> frame)
{
    if (!frame)
        return;
    if (ring.firstIndex < 0) {
        ring.SetFirstIndex(0);
        ring.SetLastIndex(0);
    } else {
        frame->endTime = WrappedDifference(cacheStartTime, 1);
        ring.SetFirstIndex(ring.GetSlotBefore(ring.firstIndex));
    }
    if (ring.GetFirst())
        PopBack();
    cacheSize += frame->size;
    ring.SetFrame(ring.firstIndex, std::move(frame));
}

void DecodedVideo::PopFront()
{
    if (IsEmpty())
        return;
    if (auto const& first = ring.GetFirst())
        cacheSize -= first->size;
    ring.SetFrame(ring.firstIndex, nullptr);
    ring.SetFirstIndex(ring.GetSlotAfter(ring.firstIndex));
}

void DecodedVideo::PopBack()
{
    if (IsEmpty())
        return;
    if (auto const& last = ring.GetLast())
        cacheSize -= last->size;
    ring.SetFrame(ring.lastIndex, nullptr);
    ring.SetLastIndex(ring.GetSlotBefore(ring.lastIndex));
}

// --- Placing a record ---

void DecodedVideo::AppendFrame(std::shared_ptr<DecodedVideoFrame> frame)
{
    ring.ReleaseRetired();
    if (!frame) {
        Clear();
        return;
    }
    if (!frame->data)
        ExtendLastFrame(frame->endTime); // an end-of-stream record is never stored
    else if (!StorePicture(std::move(frame)))
        return; // dropped: the cached span is as it was
    UpdateStartEndTimes();
}

// Compares the end with the last picture's start, so this can also move the end to an earlier time.
void DecodedVideo::ExtendLastFrame(long long endTime)
{
    auto const& last = ring.GetLast();
    if (last && endTime > last->startTime)
        last->endTime = endTime;
}

bool DecodedVideo::StorePicture(std::shared_ptr<DecodedVideoFrame> frame)
{
    if (frame->startTime < 0) {
        if (frame->endTime < 0)
            return false;
        frame->startTime = 0;
    }
    if (IsEmpty()) {
        if (frame->startTime <= Settings::ROUNDING_ERROR_EXTRA_TIME)
            frame->startTime = 0;
        PushBack(std::move(frame));
        return true;
    }
    for (auto const& end : {FirstFrame(), LastFrame()})
        if (end && frame->startTime == end->startTime)
            return false;
    if (GetFrameCount() == ring.GetCapacity() - 1)
        Grow();
    auto const& last = ring.GetLast();
    if (last && frame->startTime > last->startTime) {
        PushBack(std::move(frame));
        return true;
    }
    if (frame->startTime < cacheStartTime) {
        PushFront(std::move(frame));
        return true;
    }
    return false;
}

void DecodedVideo::Grow()
{
    auto grown = ring.MakeGrown();
    ring.Adopt(grown);
}

void DecodedVideo::OverrideLastFrameEndTime(long long time)
{
    if (auto const& last = ring.GetLast())
        last->endTime = cacheEndTime = time;
}

bool DecodedVideo::IsEmpty() const
{
    return ring.firstIndex < 0 || GetFrameCount() < 1;
}

std::shared_ptr<DecodedVideoFrame> DecodedVideo::FirstFrame() const
{
    return ring.GetFirst();
}

std::shared_ptr<DecodedVideoFrame> DecodedVideo::LastFrame() const
{
    return ring.GetLast();
}

int DecodedVideo::GetFrameCount() const
{
    return ring.GetFrameCount();
}

// --- The window around the play position ---

void DecodedVideo::SetMaxCacheSize(long long maxCacheSize, int width, int height, int bytesPerPixel)
{
    if (maxCacheSize < 0 || width < 0 || height < 0 || bytesPerPixel < 0)
        return;
    this->maxCacheSize = maxCacheSize;
    int const capacity = CapacityFor(maxCacheSize, WrappedProduct(width, height, bytesPerPixel));
    Clear();
    ring.frameBuffers[ring.currentBuffer].resize(capacity); // the retired array keeps its length
}

int DecodedVideo::GetMaxFrameCount() const
{
    return ring.GetCapacity();
}

bool DecodedVideo::IsCacheFull() const
{
    return cacheSize >= maxCacheSize || GetFrameCount() >= ring.GetCapacity();
}

void DecodedVideo::GetDirectionalCacheSizes(long long time, long long& forwardSize, long long& backwardSize)
{
    forwardSize = 0;
    backwardSize = 0;
    if (ring.firstIndex <= ring.lastIndex) {
        SplitSizes(ring.firstIndex, ring.lastIndex - 1, time, forwardSize, backwardSize); // without the latest
        return;
    }
    auto const& lowest = ring.GetFrame(0);
    int const highest = ring.GetCapacity() - 1;
    if ((lowest ? lowest->startTime : 0) <= time) {
        backwardSize += SumSizes(ring.firstIndex, highest);
        SplitSizes(0, ring.lastIndex, time, forwardSize, backwardSize);
    } else {
        SplitSizes(ring.firstIndex, highest, time, forwardSize, backwardSize);
        forwardSize += SumSizes(0, ring.lastIndex);
    }
}

// Reads every picture's size at each tick: a host shares the record and may have changed it.
long long DecodedVideo::SumSizes(int first, int last) const
{
    auto const& slotArray = ring.frameBuffers[ring.currentBuffer];
    long long sum = 0;
    for (int i = first; i <= last; ++i)
        if (auto const& frame = slotArray.at(i))
            sum += frame->size;
    return sum;
}

void DecodedVideo::SplitSizes(int first, int last, long long time, long long& forwardSize,
                              long long& backwardSize) const
{
    auto const& slotArray = ring.frameBuffers[ring.currentBuffer];
    for (int i = first; i <= last; ++i)
        if (auto const& frame = slotArray.at(i))
            (frame->startTime < time ? backwardSize : forwardSize) += frame->size;
}

void DecodedVideo::UpdateCache(long long time, long long mediaEndTime, bool playing, bool playingForwards)
{
    bool const full = IsCacheFull();
    long long forwardSize = 0;
    long long backwardSize = 0;
    GetDirectionalCacheSizes(time, forwardSize, backwardSize);
    canCacheForwards = false;
    canCacheBackwards = false;
    if (time != lastCacheTime)
        movingForwards = time > lastCacheTime;
    auto const budget = static_cast<float>(maxCacheSize);
    auto const forwardBudget = static_cast<long long>((movingForwards ? 0.4f : 0.1f) * budget);
    auto const backwardBudget = static_cast<long long>((movingForwards ? 0.1f : 0.4f) * budget);

    bool const moreAfter = cacheEndTime < mediaEndTime;
    bool const moreBefore = cacheStartTime > 0;
    bool const forwardPlay = playing && playingForwards;
    bool const forwardsFirst = forwardPlay || ring.firstIndex < 0 || GetFrameCount() < fewFrames || cacheEndTime < time;
    if (moreAfter && forwardsFirst)
        return AdviseForwards(time, full, backwardSize);
    if (playing && !playingForwards && moreBefore)
        return AdviseBackwards(time, full, forwardSize);
    if (moreAfter && forwardSize < forwardBudget)
        return AdviseForwards(time, full, backwardSize);
    if (!forwardPlay && moreBefore && backwardSize < backwardBudget)
        return AdviseBackwards(time, full, forwardSize);
    if (full)
        return;
    canCacheForwards = moreAfter;
    lastCacheTime = time;
}

void DecodedVideo::AdviseForwards(long long time, bool full, long long backwardSize)
{
    float const trailing = static_cast<float>(maxCacheSize) * Settings::maxTrailingCacheWhilePlaying;
    if (full && static_cast<float>(backwardSize) < trailing)
        return;
    if (full)
        PopFront();
    canCacheForwards = true;
    lastCacheTime = time;
}

void DecodedVideo::AdviseBackwards(long long time, bool full, long long forwardSize)
{
    float const trailing = static_cast<float>(maxCacheSize) * Settings::maxTrailingCacheWhilePlaying;
    if (full && static_cast<float>(forwardSize) < trailing)
        return;
    if (full)
        PopBack();
    canCacheBackwards = true;
    lastCacheTime = time;
}

// --- Lookup ---

std::shared_ptr<DecodedVideoFrame> DecodedVideo::GetFrame(long long time, int offset) const
{
    if (IsEmpty() || time < cacheStartTime || time > cacheEndTime)
        return nullptr;
    int const index = GetFrameIndex(time);
    if (offset > 0)
        return GetFrameAtIndex(WalkForwards(index, WithoutRounds(offset, ring.GetCapacity())));
    if (offset < 0)
        return GetFrameAtIndex(
            WalkBackwards(index, WithoutRounds(-static_cast<long long>(offset), ring.GetCapacity())));
    return GetFrameAtIndex(index);
}

// Also accepts -1, so that a step from a time in a gap leads to slot 0.
int DecodedVideo::WalkForwards(int index, long long steps) const
{
    for (long long i = 0; i < steps; ++i) {
        int const next = index + 1;
        if (next == ring.firstIndex)
            return -1;
        if (next >= ring.GetCapacity())
            index = 0;
        else if (next < ring.firstIndex && ring.lastIndex <= index)
            return -1;
        else
            index = next;
    }
    return index;
}

int DecodedVideo::WalkBackwards(int index, long long steps) const
{
    bool const wrapped = ring.lastIndex < ring.firstIndex;
    for (long long i = 0; i < steps; ++i) {
        int const previous = index - 1;
        if (previous == ring.lastIndex)
            return -1;
        if (index < 1) {
            if (!wrapped)
                return -1;
            index = ring.GetCapacity() - 1;
        } else if (index <= ring.firstIndex && previous > ring.lastIndex) {
            return -1;
        } else {
            index = previous;
        }
    }
    return index;
}

int DecodedVideo::GetFrameIndex(long long time) const
{
    return IsEmpty() ? -1 : ring.Find(time);
}

int DecodedVideo::GetFrameIndexBinarySearch(long long time, int first, int last) const
{
    return ring.Find(time, first, last);
}

int DecodedVideo::GetNextFrameIndex(int index) const
{
    long long const next = index + 1LL;
    if (next == ring.firstIndex)
        return -1;
    if (next >= ring.GetCapacity())
        return ring.lastIndex >= 0 ? 0 : -1;
    return next >= ring.firstIndex || ring.lastIndex > index ? static_cast<int>(next) : -1;
}

int DecodedVideo::GetPreviousFrameIndex(int index) const
{
    long long const previous = index - 1LL;
    if (previous == ring.lastIndex)
        return -1;
    if (index <= 0)
        return ring.lastIndex >= ring.firstIndex ? -1 : ring.GetCapacity() - 1;
    return index <= ring.firstIndex && previous > ring.lastIndex ? -1 : static_cast<int>(previous);
}

std::shared_ptr<DecodedVideoFrame> DecodedVideo::GetFrameAtIndex(int index) const
{
    return ring.GetFrame(index);
}
