#pragma once

#include <QVector>

#include <memory>

struct DecodedAudioFrame;
struct DecodedVideoFrame;

// The frames of one cache in time order: a ring of slots in the live one of two arrays; the other, retired array holds
// the frames left by the last clear. FrameRing handles slots, order, growth, delayed release and the search by time.
// The cache handles times, sizes, and which frames enter and leave.
//
//     live array      [ D E . . . A B C ]     A: firstIndex, E: lastIndex; here the used slots wrap round
//     retired array   [ . x x x . . . . ]     last x: releaseIndex; each append empties two slots
//
// One thread at a time owns the ring and calls everything except the part "The reader". One other thread may call that
// part at any time, provided that a mutex of the cache excludes it while an array is replaced (Adopt, Resize).
template <typename Frame>
struct FrameRing
{
    using Pointer = std::shared_ptr<Frame>;
    using Slots = QVector<Pointer>;

    int GetCapacity() const;
    int GetFrameCount() const; // from the indices only, even over empty slots; 0 without indices

    // The neighbouring slot, wrapping round the end of the array.
    int GetSlotAfter(int index) const;
    int GetSlotBefore(int index) const;

    Pointer const& GetFrame(int index) const; // in the live array; empty for an invalid slot
    Pointer const& GetFirst() const { return GetFrame(firstIndex); }
    Pointer const& GetLast() const { return GetFrame(lastIndex); }

    // Stores `frame` in the slot of the live array and releases the slot's old frame. Ignores an invalid slot.
    void SetFrame(int index, Pointer frame);
    void SetFirstIndex(int index);
    void SetLastIndex(int index);

    // The slot of the frame whose span includes `time`, or -1. An empty slot ends the search.
    int Find(long long time) const;
    int Find(long long time, int low, int high) const; // among these slot numbers

    void Retire();         // makes the other array live, empty; the frames of the old one are released later
    void ReleaseRetired(); // at most two slots, so that a clear never frees a whole cache in one call
    void ReleaseAll();     // both arrays, immediately

    // Growth in two steps, so that a reader need not wait for the copy: MakeGrown copies the frames in order to a new
    // array, half as long again, from slot 0 on; Adopt exchanges it with the live array.
    Slots MakeGrown() const;
    void Adopt(Slots& grown);

    // The same for a new length; frames that do not fit end up in `resized`. Indices stay, see FitsInto.
    bool FitsInto(int length) const;
    Slots MakeResized(int buffer, int length) const;
    void Resize(Slots (&resized)[2]);

    // --- The reader ---

    // A snapshot of the live array and the indices. The array stays valid until it is replaced; the indices may be
    // stale or belong to the other array, so every use is checked against the array.
    struct View
    {
        Pointer const* slotArray = nullptr;
        int capacity = 0;
        int firstIndex = -1;
        int lastIndex = -1;
    };

    // Changes whenever slot numbers lose their meaning: after all slots were emptied and before one is filled again,
    // and when all frames move.
    int GetGeneration() const;
    View GetView() const;
    int Find(View const& view, long long time) const;
    Pointer CopyFrame(View const& view, int index) const; // also empty while the owner is changing the slot

    Slots frameBuffers[2];
    int currentBuffer = 0; // the live array
    int releaseBuffer = 1; // the retired array
    int releaseIndex = -1; // highest slot of the retired array that may still hold a frame; -1: none
    int firstIndex = -1;   // slot of the earliest frame; -1: no frame since the last clear
    int lastIndex = -1;    // slot of the latest frame

private:
    void Exchange(Pointer& slot, Pointer frame);
    static Slots MakeSlots(int length);
    void ReleaseSlots(Slots& slotArray);
    template <typename Read>
    void Inspect(View const& view, int index, Read read) const;

    // Synchronise owner and reader, see "One slot, two threads" in the source.
    int generation = 0;
    Pointer const* slotInWriting = nullptr;
    mutable Pointer const* slotInReading = nullptr;
};

extern template struct FrameRing<DecodedAudioFrame>;
extern template struct FrameRing<DecodedVideoFrame>;
