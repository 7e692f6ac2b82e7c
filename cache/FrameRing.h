#pragma once

#include <QVector>

#include <memory>

struct DecodedAudioFrame;
struct DecodedVideoFrame;

// The frames of one cache in time order: a ring of slots inside the live one of two arrays, and what the last clear
// left behind in the other. Knows slots, order, growth, lazy release and the search by time; times, sizes and the rules
// by which frames enter and leave are the cache's.
//
//     live array      [ D E . . . A B C ]     A: firstIndex, E: lastIndex; here the stretch goes round the end
//     retired array   [ . x x x . . . . ]     the last x: releaseIndex; two slots are emptied an append
//
// One thread at a time owns the ring and calls everything, but for the part named "the reader". One other thread may
// call that at any moment, as long as a mutex of the cache keeps it away while an array is replaced (Adopt, Resize).
template <typename Frame>
struct FrameRing
{
    using Pointer = std::shared_ptr<Frame>;
    using Slots = QVector<Pointer>;

    int GetCapacity() const;
    int GetFrameCount() const; // by the indices alone, whatever the slots hold; 0 without indices

    // The neighbouring slot round the end of the array.
    int GetSlotAfter(int index) const;
    int GetSlotBefore(int index) const;

    Pointer const& GetFrame(int index) const; // of the live array; empty for a slot that does not exist
    Pointer const& GetFirst() const { return GetFrame(firstIndex); }
    Pointer const& GetLast() const { return GetFrame(lastIndex); }

    // The slot of the live array takes `frame`, and what it held is released. A slot that does not exist takes nothing.
    void SetFrame(int index, Pointer frame);
    void SetFirstIndex(int index);
    void SetLastIndex(int index);

    // The slot of the frame whose span holds `time`, both ends included, or -1. An empty slot ends the search.
    int Find(long long time) const;
    int Find(long long time, int low, int high) const; // among these slots, as they lie in the array

    void Retire();         // goes on with the other array, empty; what this one holds is released later
    void ReleaseRetired(); // two slots at most, so that a clear never frees a whole cache in one call
    void ReleaseAll();     // of both arrays, at once

    // Growth in two steps, so that a reader need not wait for the copy: the frames in order from slot 0 of a new array,
    // half as long again, and its exchange with the live one.
    Slots MakeGrown() const;
    void Adopt(Slots& grown);

    // The same for a new length; frames beyond it end in `resized`. Indices stay: see FitsInto.
    bool FitsInto(int length) const;
    Slots MakeResized(int buffer, int length) const;
    void Resize(Slots (&resized)[2]);

    // --- The reader ---

    // The live array and the indices as they are at one moment. The array lasts until it is replaced; the indices may
    // be stale or of the other array, so every use is checked against the array.
    struct View
    {
        Pointer const* slotArray = nullptr;
        int capacity = 0;
        int firstIndex = -1;
        int lastIndex = -1;
    };

    // Changes after all slots were emptied and before one takes a frame again, or when all frames move: slot numbers
    // from before mean nothing then.
    int GetGeneration() const;
    View GetView() const;
    int Find(View const& view, long long time) const;
    Pointer CopyFrame(View const& view, int index) const; // empty as well while the owner is about to change the slot

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

    // Owner and reader meet here, see "One slot, two threads" in the source.
    int generation = 0;
    Pointer const* slotInWriting = nullptr;
    mutable Pointer const* slotInReading = nullptr;
};

extern template struct FrameRing<DecodedAudioFrame>;
extern template struct FrameRing<DecodedVideoFrame>;
