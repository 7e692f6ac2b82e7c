#include "playback/PictureCache.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

// The cache makes a slot for every picture that the budget could hold, which of tiny pictures are too many to begin
// with; it grows when they come.
constexpr long long mostSlotsToBegin = 10000;

} // namespace

std::vector<PictureCache::Picture> PictureCache::SetBudget(long long bytes, long long pictureBytes, long long time)
{
    std::lock_guard const lock(mutex);
    std::vector<Picture> released = GetAll();
    auto current = std::find_if(released.begin(), released.end(),
                                [time](Picture const& picture) { return picture->endTime >= time; });
    if (current == released.end() && !released.empty())
        --current;
    cache.ForceClear(); // frees nothing, `released` holds them all
    budget = bytes;
    long long const enough = std::max(bytes, fewestPictures * pictureBytes);
    long long const slotBytes = std::max(pictureBytes, enough / mostSlotsToBegin);
    cache.SetMaxCacheSize(std::max(enough - pictureBytes, 0LL) + 1,
                          static_cast<int>(std::min<long long>(slotBytes, std::numeric_limits<int>::max())), 1, 1);
    auto kept = current;
    for (; kept != released.end() && HasRoom((*kept)->size); ++kept)
        PutBack(*kept);
    auto before = current;
    if (kept != current) {
        while (before != released.begin() && HasRoom((*(before - 1))->size))
            PutBack(*--before);
    }
    released.erase(before, kept);
    return released;
}

// As AppendFrame, which would round the start of the only picture, though, while a display may be reading that.
void PictureCache::PutBack(Picture const& picture)
{
    if (cache.FirstFrame()) {
        cache.AppendFrame(picture);
        return;
    }
    cache.PushBack(picture);
    cache.UpdateStartEndTimes();
}

bool PictureCache::HasRoomFor(long long bytes) const
{
    std::lock_guard const lock(mutex);
    return HasRoom(bytes);
}

bool PictureCache::HasRoom(long long bytes) const
{
    return cache.GetSize() + waitingBytes + bytes <= budget ||
           GetCount() + static_cast<int>(waiting.size()) < fewestPictures;
}

int PictureCache::GetCount() const
{
    return cache.FirstFrame() ? cache.GetFrameCount() : 0;
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
    Span span;
    span.bytes = cache.GetSize() + waitingBytes;
    span.budget = budget;
    span.count = GetCount();
    if (span.count > 0) {
        span.start = cache.GetStartTime();
        span.end = cache.GetEndTime();
    }
    return span;
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

void PictureCache::AddWaiting(Picture picture)
{
    std::lock_guard const lock(mutex);
    waitingBytes += picture->size;
    waiting.push_back(std::move(picture));
}

PictureCache::Picture PictureCache::TakeFirstWaiting()
{
    std::lock_guard const lock(mutex);
    if (waiting.empty())
        return nullptr;
    Picture first = std::move(waiting.front());
    waiting.pop_front();
    waitingBytes -= first->size;
    return first;
}

PictureCache::Picture PictureCache::AppendLastWaiting()
{
    std::lock_guard const lock(mutex);
    if (waiting.empty())
        return nullptr;
    Picture last = std::move(waiting.back());
    waiting.pop_back();
    waitingBytes -= last->size;
    cache.AppendFrame(last);
    return last;
}

std::vector<PictureCache::Picture> PictureCache::TakeAllWaiting()
{
    std::lock_guard const lock(mutex);
    std::vector<Picture> released(waiting.begin(), waiting.end());
    waiting.clear();
    waitingBytes = 0;
    return released;
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
