#include "cache/FrameRing.h"

#include "cache/SharedField.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"

#include <algorithm>
#include <thread>
#include <utility>

// One slot, two threads. Before it touches a slot, each side announces the slot (slotInWriting, slotInReading) and then
// checks the other's announcement; sequentially consistent order guarantees that at least one side sees the other. The
// owner waits for the reader, which needs a slot for a few instructions. The reader never waits: it treats a slot that
// is being changed as empty.

namespace {

struct Span
{
    bool exists = false;
    long long start = 0;
    long long end = 0;
};

template <typename Pointer>
Span SpanOf(Pointer const& frame)
{
    if (!frame)
        return {};
    return {true, LoadShared(frame->startTime), LoadShared(frame->endTime)};
}

// The middle of two slot numbers, without overflow for any arguments.
int Middle(int low, int high)
{
    return static_cast<int>(static_cast<unsigned>(low) + static_cast<unsigned>(high)) / 2;
}

template <typename SpanAt>
int Search(SpanAt const& spanAt, long long time, int low, int high)
{
    while (low <= high) {
        int const middle = Middle(low, high);
        Span const span = spanAt(middle);
        if (!span.exists)
            return -1;
        if (span.start > time)
            high = middle - 1;
        else if (span.end < time)
            low = middle + 1;
        else
            return middle;
    }
    return -1;
}

// `ring` gives the indices and the capacity. If the used slots wrap round, only one of their two parts is searched.
template <typename Ring, typename SpanAt>
int SearchStretch(Ring const& ring, SpanAt const& spanAt, long long time)
{
    if (ring.firstIndex < 0)
        return -1;
    Span const earliest = spanAt(ring.firstIndex);
    if (!earliest.exists || !spanAt(ring.lastIndex).exists)
        return -1;
    if (ring.lastIndex >= ring.firstIndex)
        return Search(spanAt, time, ring.firstIndex, ring.lastIndex);
    Span const upperEnd = spanAt(ring.capacity - 1);
    if (!upperEnd.exists)
        return -1;
    if (earliest.start > time || upperEnd.end < time)
        return Search(spanAt, time, 0, ring.lastIndex);
    return Search(spanAt, time, ring.firstIndex, ring.capacity - 1);
}

int GrownCapacity(int capacity)
{
    return static_cast<int>(static_cast<float>(capacity) * 1.5f);
}

} // namespace

template <typename Frame>
int FrameRing<Frame>::GetCapacity() const
{
    return static_cast<int>(frameBuffers[currentBuffer].size());
}

template <typename Frame>
int FrameRing<Frame>::GetFrameCount() const
{
    if (firstIndex < 0)
        return 0;
    int const count = lastIndex - firstIndex + 1;
    return lastIndex >= firstIndex ? count : count + GetCapacity();
}

template <typename Frame>
int FrameRing<Frame>::GetSlotAfter(int index) const
{
    return index + 1 < GetCapacity() ? index + 1 : 0;
}

template <typename Frame>
int FrameRing<Frame>::GetSlotBefore(int index) const
{
    return index > 0 ? index - 1 : GetCapacity() - 1;
}

template <typename Frame>
typename FrameRing<Frame>::Pointer const& FrameRing<Frame>::GetFrame(int index) const
{
    static Pointer const none;
    Slots const& slotArray = frameBuffers[currentBuffer];
    return index >= 0 && index < slotArray.size() ? slotArray.at(index) : none;
}

template <typename Frame>
void FrameRing<Frame>::SetFrame(int index, Pointer frame)
{
    if (index >= 0 && index < GetCapacity())
        Exchange(frameBuffers[currentBuffer][index], std::move(frame));
}

template <typename Frame>
void FrameRing<Frame>::SetFirstIndex(int index)
{
    StoreShared(firstIndex, index);
}

template <typename Frame>
void FrameRing<Frame>::SetLastIndex(int index)
{
    StoreShared(lastIndex, index);
}

template <typename Frame>
int FrameRing<Frame>::Find(long long time) const
{
    View const view{frameBuffers[currentBuffer].constData(), GetCapacity(), firstIndex, lastIndex};
    return SearchStretch(
        view, [this](int index) { return SpanOf(GetFrame(index)); }, time);
}

template <typename Frame>
int FrameRing<Frame>::Find(long long time, int low, int high) const
{
    return Search([this](int index) { return SpanOf(GetFrame(index)); }, time, low, high);
}

template <typename Frame>
void FrameRing<Frame>::Retire()
{
    int const next = (currentBuffer + 1) % 2;
    ReleaseSlots(frameBuffers[next]); // before a reader sees it as the live array
    SetFirstIndex(-1);
    SetLastIndex(-1);
    releaseBuffer = currentBuffer;
    releaseIndex = GetCapacity() - 1;
    StoreShared(currentBuffer, next);
    IncrementShared(generation);
}

template <typename Frame>
void FrameRing<Frame>::ReleaseRetired()
{
    for (int i = 0; i < 2 && releaseIndex >= 0; ++i)
        Exchange(frameBuffers[releaseBuffer][releaseIndex--], nullptr);
}

template <typename Frame>
void FrameRing<Frame>::ReleaseAll()
{
    for (Slots& slotArray : frameBuffers)
        ReleaseSlots(slotArray);
    SetFirstIndex(-1);
    SetLastIndex(-1);
    IncrementShared(generation);
}

// Qt 6's sized constructor crashes when allocation fails; resize() throws.
template <typename Frame>
typename FrameRing<Frame>::Slots FrameRing<Frame>::MakeSlots(int length)
{
    Slots slotArray;
    slotArray.resize(length);
    return slotArray;
}

template <typename Frame>
typename FrameRing<Frame>::Slots FrameRing<Frame>::MakeGrown() const
{
    Slots grown = MakeSlots(std::max(GrownCapacity(GetCapacity()), 0));
    int const count = GetFrameCount();
    for (int i = 0, slot = firstIndex; i < count; ++i, slot = GetSlotAfter(slot))
        grown[i] = GetFrame(slot);
    return grown;
}

template <typename Frame>
void FrameRing<Frame>::Adopt(Slots& grown)
{
    int const count = GetFrameCount();
    frameBuffers[currentBuffer].swap(grown);
    SetFirstIndex(0);
    SetLastIndex(count - 1);
    IncrementShared(generation);
}

template <typename Frame>
bool FrameRing<Frame>::FitsInto(int length) const
{
    if (firstIndex < 0)
        return true;
    return lastIndex >= firstIndex ? lastIndex < length : length == GetCapacity();
}

template <typename Frame>
typename FrameRing<Frame>::Slots FrameRing<Frame>::MakeResized(int buffer, int length) const
{
    Slots const& slotArray = frameBuffers[buffer];
    Slots resized = MakeSlots(length);
    std::copy_n(slotArray.cbegin(), std::min<int>(length, slotArray.size()), resized.begin());
    return resized;
}

template <typename Frame>
void FrameRing<Frame>::Resize(Slots (&resized)[2])
{
    frameBuffers[0].swap(resized[0]);
    frameBuffers[1].swap(resized[1]);
    releaseIndex = std::min<int>(releaseIndex, frameBuffers[releaseBuffer].size() - 1);
}

template <typename Frame>
int FrameRing<Frame>::GetGeneration() const
{
    return LoadShared(generation);
}

template <typename Frame>
typename FrameRing<Frame>::View FrameRing<Frame>::GetView() const
{
    Slots const& slotArray = frameBuffers[LoadShared(currentBuffer)];
    return {slotArray.constData(), static_cast<int>(slotArray.size()), LoadShared(firstIndex), LoadShared(lastIndex)};
}

template <typename Frame>
int FrameRing<Frame>::Find(View const& view, long long time) const
{
    auto const spanAt = [this, &view](int index) {
        Span span;
        Inspect(view, index, [&span](Pointer const& frame) { span = SpanOf(frame); });
        return span;
    };
    return SearchStretch(view, spanAt, time);
}

template <typename Frame>
typename FrameRing<Frame>::Pointer FrameRing<Frame>::CopyFrame(View const& view, int index) const
{
    Pointer copy;
    Inspect(view, index, [&copy](Pointer const& frame) { copy = frame; });
    return copy;
}

template <typename Frame>
void FrameRing<Frame>::Exchange(Pointer& slot, Pointer frame)
{
    StoreShared(slotInWriting, &slot, std::memory_order_seq_cst);
    while (LoadShared(slotInReading, std::memory_order_seq_cst) == &slot)
        std::this_thread::yield();
    slot.swap(frame);
    StoreShared(slotInWriting, nullptr);
} // releases the slot's old frame, after the reader may use the slot again

template <typename Frame>
void FrameRing<Frame>::ReleaseSlots(Slots& slotArray)
{
    for (int i = 0; i < slotArray.size(); ++i)
        if (slotArray.at(i))
            Exchange(slotArray[i], nullptr);
}

template <typename Frame>
template <typename Read>
void FrameRing<Frame>::Inspect(View const& view, int index, Read read) const
{
    if (index < 0 || index >= view.capacity)
        return;
    Pointer const* const slot = view.slotArray + index;
    StoreShared(slotInReading, slot, std::memory_order_seq_cst);
    if (LoadShared(slotInWriting, std::memory_order_seq_cst) != slot)
        read(*slot); // cppcheck-suppress nullPointer ; the array has more than `index` slots
    StoreShared(slotInReading, nullptr);
}

template struct FrameRing<DecodedAudioFrame>;
template struct FrameRing<DecodedVideoFrame>;
