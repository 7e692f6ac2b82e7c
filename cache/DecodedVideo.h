#pragma once

#include "TavolinAVExport.h"
#include "cache/FrameRing.h"
#include "decode/DecodedVideoFrame.h"

#include <memory>

// The decoded pictures around the play position, in time order, so that any of them is shown without decoding again,
// and stepped or shuttled through in both directions.
//
//     cache.AppendFrame(record);                                        // what the decoder delivers
//     cache.UpdateCache(position, mediaEnd, playing, playingForwards);  // once a display tick
//     auto picture = cache.GetFrame(position, 0);
//
// Times are microseconds, both ends of a span belong to it; sizes are bytes. The cached pictures cover one span without
// a gap: each ends one microsecond before the next one starts, and only the latest keeps the end it came with. A byte
// budget bounds the cache, a host that heeds the advice of UpdateCache stays within it.
//
// One thread at a time, no locks. A picture handed out stays valid on any thread for as long as its pointer is held.
// Nothing fails: what cannot be stored is dropped, what is not there is an empty pointer or -1.
class TAVOLINAV_EXPORT DecodedVideo
{
public:
    DecodedVideo();  // 25 slots and no budget: SetMaxCacheSize comes first
    ~DecodedVideo(); // releases every picture
    DecodedVideo(DecodedVideo const&) = delete;
    DecodedVideo& operator=(DecodedVideo const&) = delete;

    // The budget in bytes, and the size of one picture, from which the number of slots follows: a fifth more than the
    // budget needs, at least 25. Clears. A negative argument changes nothing.
    void SetMaxCacheSize(long long maxCacheSize, int width, int height, int bytesPerPixel);

    // Places `frame` behind the latest or in front of the earliest picture; one that starts between the two, as either
    // of them, or ends before 0 is dropped. A record without data (end of stream) only moves the end of the latest
    // picture; an empty pointer asks for Clear. Changes the times of `frame` and of its neighbour so that they meet
    // without a gap. Releases two pictures of the last Clear.
    void AppendFrame(std::shared_ptr<DecodedVideoFrame> frame);

    // Once a display tick, with the play position and the end of the media: advises where to decode further, and when
    // the budget is spent makes room for it by dropping at most one picture, from the other side.
    void UpdateCache(long long time, long long mediaEndTime, bool playing, bool playingForwards);
    bool CanCacheForwards() const { return canCacheForwards; }   // append later pictures: as of the last UpdateCache
    bool CanCacheBackwards() const { return canCacheBackwards; } // append earlier pictures

    // The picture showing at `time`, moved `offset` pictures later (or earlier, when negative); empty when none.
    std::shared_ptr<DecodedVideoFrame> GetFrame(long long time, int offset) const;

    // The latest picture ends at `time`, whatever its start.
    void OverrideLastFrameEndTime(long long time);

    void Clear();      // at once; pictures are released two by two by later appends
    void ForceClear(); // releases every picture

    std::shared_ptr<DecodedVideoFrame> FirstFrame() const; // the earliest; empty when none
    std::shared_ptr<DecodedVideoFrame> LastFrame() const;  // the latest; empty when none
    int GetFrameCount() const;    // the number of slots once pops have removed every picture: see PopFront
    int GetMaxFrameCount() const; // slots of the array in use; it grows
    long long GetSize() const { return cacheSize; }            // bytes of all pictures
    long long GetMaxCacheSize() const { return maxCacheSize; } // the budget
    long long GetStartTime() const { return cacheStartTime; }  // of the earliest picture; 0 when empty
    long long GetEndTime() const { return cacheEndTime; }      // of the latest, even before its start
    bool IsCacheFull() const;                                  // budget spent, or no free slot

    // Bytes cached at or after `time`, and before it. The latest picture has no proper end yet, so the balance leaves
    // it out, but for a stretch that goes round the end of the array.
    void GetDirectionalCacheSizes(long long time, long long& forwardSize, long long& backwardSize);

    // Slots, as they lie in the array. The search gives -1 for a time that no picture covers. The steps do not stop at
    // the ends of a stretch that does not go round the end of the array: they give the empty slot beside it.
    int GetFrameIndex(long long time) const;
    int GetFrameIndexBinarySearch(long long time, int first, int last) const;
    int GetNextFrameIndex(int index) const;
    int GetPreviousFrameIndex(int index) const;
    std::shared_ptr<DecodedVideoFrame> GetFrameAtIndex(int index) const; // empty for a slot that does not exist

    // What AppendFrame and UpdateCache are made of. They leave GetStartTime and GetEndTime as they are.
    void PushBack(std::shared_ptr<DecodedVideoFrame> frame);  // over the earliest picture when no slot is free
    void PushFront(std::shared_ptr<DecodedVideoFrame> frame); // over the latest
    // Removing the only picture leaves a ring that counts as full of empty slots; only a clear makes it empty again.
    void PopFront();
    void PopBack();
    void UpdateStartEndTimes(); // takes them from the pictures at both ends

private:
    bool IsEmpty() const;
    bool StorePicture(std::shared_ptr<DecodedVideoFrame> frame);
    void ExtendLastFrame(long long endTime);
    void Grow();
    int WalkForwards(int index, long long steps) const;
    int WalkBackwards(int index, long long steps) const;
    long long SumSizes(int first, int last) const;
    void SplitSizes(int first, int last, long long time, long long& forwardSize, long long& backwardSize) const;
    void AdviseForwards(long long time, bool full, long long backwardSize);
    void AdviseBackwards(long long time, bool full, long long forwardSize);

    FrameRing<DecodedVideoFrame> ring;
    long long cacheStartTime = 0;
    long long cacheEndTime = 0;
    long long cacheSize = 0;     // sum of the sizes of the pictures in the ring
    long long lastCacheTime = 0; // play position at the previous UpdateCache that did not stop at a full cache
    bool movingForwards = true;  // the way the play position last moved
    long long maxCacheSize = 0;  // the budget
    bool canCacheForwards = false;
    bool canCacheBackwards = false;
};
