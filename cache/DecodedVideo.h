#pragma once

#include "TavolinAVExport.h"
#include "cache/FrameRing.h"
#include "decode/DecodedVideoFrame.h"

#include <memory>

// A cache of the decoded pictures around the play position, in time order, to show, step and shuttle in both directions
// without decoding again.
//
//     cache.AppendFrame(record);                                        // from the decoder
//     cache.UpdateCache(position, mediaEnd, playing, playingForwards);  // every display tick
//     auto picture = cache.GetFrame(position, 0);
//
// Times are microseconds, spans include both ends; sizes are bytes. The cached pictures cover one span without gaps:
// each ends one microsecond before the next one starts, and only the latest keeps its original end. A byte budget
// limits the cache; a host that follows the advice of UpdateCache stays within it.
//
// One thread at a time, no locks. A picture stays valid on any thread as long as its pointer is held. No operation
// fails: a picture that cannot be stored is dropped; a missing one gives an empty pointer or -1.
class TAVOLINAV_EXPORT DecodedVideo
{
public:
    DecodedVideo();  // has 25 slots and no budget before SetMaxCacheSize
    ~DecodedVideo(); // releases every picture
    DecodedVideo(DecodedVideo const&) = delete;
    DecodedVideo& operator=(DecodedVideo const&) = delete;

    // Sets the budget in bytes and the size of one picture. They give the number of slots: a fifth more than the budget
    // needs, at least 25. Clears. A negative argument changes nothing.
    void SetMaxCacheSize(long long maxCacheSize, int width, int height, int bytesPerPixel);

    // Places `frame` after the latest or before the earliest picture. Drops a picture that starts between the two, at
    // the start of either, or ends before 0. A record without data (end of stream) only moves the end of the latest
    // picture; an empty pointer clears. Changes the times of `frame` and its neighbour so that they meet. Releases two
    // pictures of the last Clear.
    void AppendFrame(std::shared_ptr<DecodedVideoFrame> frame);

    // Call once per display tick with the play position and the end of the media. Advises in which direction to decode
    // further. When the budget is spent, makes room by dropping at most one picture from the other end.
    void UpdateCache(long long time, long long mediaEndTime, bool playing, bool playingForwards);
    bool CanCacheForwards() const { return canCacheForwards; }   // later pictures, by the last UpdateCache
    bool CanCacheBackwards() const { return canCacheBackwards; } // earlier pictures

    // The picture at `time`, or the one `offset` pictures later (earlier when negative); empty when there is none.
    std::shared_ptr<DecodedVideoFrame> GetFrame(long long time, int offset) const;

    // Sets the end of the latest picture, even to before its start.
    void OverrideLastFrameEndTime(long long time);

    void Clear();      // empties the cache; later appends release the pictures, two each
    void ForceClear(); // releases every picture

    std::shared_ptr<DecodedVideoFrame> FirstFrame() const; // the earliest; empty when none
    std::shared_ptr<DecodedVideoFrame> LastFrame() const;  // the latest; empty when none
    int GetFrameCount() const;    // the number of slots once pops have removed every picture, see PopFront
    int GetMaxFrameCount() const; // slots of the live array; grows
    long long GetSize() const { return cacheSize; }            // bytes of all pictures
    long long GetMaxCacheSize() const { return maxCacheSize; } // the budget
    long long GetStartTime() const { return cacheStartTime; }  // of the earliest picture; 0 when empty
    long long GetEndTime() const { return cacheEndTime; }      // of the latest picture, even if before its start
    bool IsCacheFull() const;                                  // whether the budget is spent or no slot is free

    // Bytes of the pictures that start at or after `time`, and before it. Leaves out the latest picture, whose end is
    // not final, unless the used slots wrap round the end of the array.
    void GetDirectionalCacheSizes(long long time, long long& forwardSize, long long& backwardSize);

    // Slot numbers in the array. The search gives -1 for a time without a picture. If the used slots do not wrap round,
    // the steps do not stop at their ends but give the empty slot next to them.
    int GetFrameIndex(long long time) const;
    int GetFrameIndexBinarySearch(long long time, int first, int last) const;
    int GetNextFrameIndex(int index) const;
    int GetPreviousFrameIndex(int index) const;
    std::shared_ptr<DecodedVideoFrame> GetFrameAtIndex(int index) const; // empty for a slot that does not exist

    // The steps of AppendFrame and UpdateCache. They do not change GetStartTime and GetEndTime.
    void PushBack(std::shared_ptr<DecodedVideoFrame> frame);  // overwrites the earliest picture when no slot is free
    void PushFront(std::shared_ptr<DecodedVideoFrame> frame); // overwrites the latest one when no slot is free
    // Removing the only picture leaves a ring that counts as full, of empty slots; only a clear makes it empty again.
    void PopFront();
    void PopBack();
    void UpdateStartEndTimes(); // sets them from the first and last picture

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
    bool movingForwards = true;  // direction of the play position's last move
    long long maxCacheSize = 0;  // the budget
    bool canCacheForwards = false;
    bool canCacheBackwards = false;
};
