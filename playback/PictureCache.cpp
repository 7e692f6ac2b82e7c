#include "playback/PictureCache.h"

#include <algorithm>
#include <limits>

namespace {

// The cache makes a slot for every picture that the budget could hold, which of tiny pictures are too many to begin
// with; it grows when they come.
constexpr long long mostSlotsToBegin = 10000;

} // namespace

std::vector<PictureCache::Picture> PictureCache::SetBudget(long long bytes, long long pictureBytes, long long time)
{
    std::lock_guard const lock(mutex);
    std::vector<Picture> released = GetAll();
    auto const current = std::find_if(released.begin(), released.end(),
                                      [time](Picture const& picture) { return picture->endTime >= time; });
    cache.ForceClear(); // frees nothing, `released` holds them all
    long long const slotBytes = std::max(pictureBytes, bytes / mostSlotsToBegin);
    cache.SetMaxCacheSize(bytes, static_cast<int>(std::min<long long>(slotBytes, std::numeric_limits<int>::max())), 1,
                          1);
    auto kept = current;
    for (; kept != released.end() && cache.GetSize() + (*kept)->size <= bytes; ++kept)
        cache.AppendFrame(*kept);
    auto before = current;
    if (kept != current) {
        while (before != released.begin() && cache.GetSize() + (*(before - 1))->size <= bytes)
            cache.AppendFrame(*--before);
    }
    released.erase(before, kept);
    return released;
}

std::vector<PictureCache::Picture> PictureCache::TakeAll()
{
    std::lock_guard const lock(mutex);
    std::vector<Picture> released = GetAll();
    cache.ForceClear();
    return released;
}

// In the order of their times.
std::vector<PictureCache::Picture> PictureCache::GetAll() const
{
    std::vector<Picture> pictures;
    int index = cache.GetFrameIndex(cache.GetStartTime());
    while (Picture picture = cache.GetFrameAtIndex(index)) {
        pictures.push_back(std::move(picture));
        index = cache.GetNextFrameIndex(index);
    }
    return pictures;
}

PictureCache::Place PictureCache::Find(long long time, int offset) const
{
    std::lock_guard const lock(mutex);
    Picture picture = cache.GetFrame(time, offset);
    if (!picture)
        return {};
    return {picture, picture->startTime, picture->endTime};
}

int PictureCache::CountBetween(long long time, long long otherTime) const
{
    std::lock_guard const lock(mutex);
    int index = cache.GetFrameIndex(std::min(time, otherTime));
    int const last = cache.GetFrameIndex(std::max(time, otherTime));
    if (index < 0 || last < 0)
        return -1;
    int steps = 0;
    for (; index != last && index >= 0; ++steps)
        index = cache.GetNextFrameIndex(index);
    return std::max(steps - 1, 0);
}

PictureCache::Span PictureCache::GetSpan() const
{
    std::lock_guard const lock(mutex);
    if (!cache.FirstFrame())
        return {};
    return {cache.GetStartTime(), cache.GetEndTime(), cache.GetFrameCount(), cache.GetSize()};
}

PictureCache::Balance PictureCache::GetBalance(long long time)
{
    std::lock_guard const lock(mutex);
    Balance balance;
    Picture const current = cache.GetFrame(time, 0);
    if (current) {
        long long andLater = 0; // but for the last one, as the cache has it
        cache.GetDirectionalCacheSizes(current->startTime, andLater, balance.before);
        balance.current = current->size;
    } else if (cache.FirstFrame() && time > cache.GetEndTime()) {
        balance.before = cache.GetSize();
    }
    balance.after = cache.GetSize() - balance.before - balance.current;
    return balance;
}

void PictureCache::Append(Picture const& picture)
{
    std::lock_guard const lock(mutex);
    cache.AppendFrame(picture);
}

PictureCache::Advice PictureCache::Update(Window const& window, std::vector<Picture>& released)
{
    Picture first; // these hold what UpdateCache lets go of until the lock is free
    Picture last;
    std::lock_guard const lock(mutex);
    first = cache.FirstFrame();
    last = cache.LastFrame();
    if (cache.IsCacheFull() && (!window.playing || first == last))
        return Advice::Nothing;
    // The picture showing now counts neither as past nor as to come, so that it is never let go of.
    bool const backwards = window.playing && !window.forwards;
    Picture const current = cache.GetFrame(window.time, 0);
    long long const time = current ? current->startTime + (backwards ? 1 : 0) : window.time;
    // With few pictures the advice is to go forwards, even backwards; with no media ahead there is no forwards.
    long long const mediaEnd = backwards ? std::min(window.mediaEnd, cache.GetEndTime()) : window.mediaEnd;
    cache.UpdateCache(time, mediaEnd, window.playing, window.forwards);
    cache.UpdateStartEndTimes();
    if (first != cache.FirstFrame())
        released.push_back(first);
    if (last != cache.LastFrame())
        released.push_back(last);
    if (cache.CanCacheForwards())
        return Advice::Forwards;
    return cache.CanCacheBackwards() ? Advice::Backwards : Advice::Nothing;
}

PictureCache::Picture PictureCache::TakeFirst()
{
    std::lock_guard const lock(mutex);
    Picture first = cache.FirstFrame();
    if (first == cache.LastFrame())
        return nullptr;
    cache.PopFront();
    cache.UpdateStartEndTimes();
    return first;
}

PictureCache::Picture PictureCache::TakeLast()
{
    std::lock_guard const lock(mutex);
    Picture last = cache.LastFrame();
    if (last == cache.FirstFrame())
        return nullptr;
    cache.PopBack();
    cache.UpdateStartEndTimes();
    return last;
}
