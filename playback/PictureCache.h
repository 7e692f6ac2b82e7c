#pragma once

#include "cache/DecodedVideo.h"

#include <deque>
#include <memory>
#include <mutex>
#include <vector>

// The cached pictures of a DecodedVideo behind one short lock, so that the display looks up while the decoding thread
// appends. Pictures follow each other without a gap; each is given with its exact span. Nothing is decoded, converted
// or freed under the lock: what leaves the cache is handed back to be let go of. Any thread.
//
// The budget counts the cached pictures and those that wait to be put in front of them. Whoever adds one asks for room
// before: then there are never more bytes than the budget, or no more than four pictures.
class PictureCache
{
public:
    using Picture = std::shared_ptr<DecodedVideoFrame>; // shared with the cache and with whoever else holds it

    // A cached picture with its span, both ends inclusive. The record's own end changes under the lock: this one
    // counts.
    struct Place
    {
        Picture picture;     // null: not cached
        long long start = 0; // microseconds
        long long end = -1;  // the last moment
    };

    // All cached pictures together.
    struct Span
    {
        long long start = 0;  // of the first picture, microseconds
        long long end = -1;   // of the last picture, inclusive; before the start when none is cached
        int count = 0;        // pictures
        long long bytes = 0;  // of all pictures, the waiting ones included
        long long budget = 0; // that these bytes keep to
    };

    // In which direction to decode on.
    enum class Advice { Nothing, Forwards, Backwards };

    // The bytes that pictures before and after the one showing at a time take; that one itself in `current`.
    struct Balance
    {
        long long before = 0;  // of the earlier pictures
        long long current = 0; // of the one showing
        long long after = 0;   // of the later ones
    };

    // What play wants to be cached, for UpdateCache.
    struct Window
    {
        long long time = 0;     // the play position
        long long mediaEnd = 0; // last moment of the last picture; the highest possible time when unknown
        bool playing = false;   // false while paused
        bool forwards = true;   // the direction of play, or the last one while paused
    };

    static constexpr int fewestPictures = 4; // kept whatever the budget

    // Keeps what fits of the pictures around `time` and returns the others. `pictureBytes` are those of the largest
    // picture: with less room than that the cache counts as full. While none waits.
    std::vector<Picture> SetBudget(long long bytes, long long pictureBytes, long long time);
    bool HasRoomFor(long long bytes) const; // for one picture more
    std::vector<Picture> TakeAll();         // leaves none

    Place Find(long long time, int offset) const;                // the one showing at `time`, moved by `offset`
    int CountBetween(long long time, long long otherTime) const; // pictures between two; -1 when not all are cached
    Span GetSpan() const;                                        // at this moment
    Balance GetBalance(long long time);                          // around `time`, microseconds

    void Append(Picture const& picture); // behind the last or in front of the first

    // Pictures on their way: read forwards, and then put in front of the cached ones from the last to the first.
    void AddWaiting(Picture picture);
    Picture TakeFirstWaiting();            // null when none waits
    Picture AppendLastWaiting();           // the one that was put in front; null when none waited
    std::vector<Picture> TakeAllWaiting(); // leaves none

    // Once for each picture appended: UpdateCache and its advice where to decode on. What it lets go of for that is
    // moved to `released`; while paused it lets go of nothing, as filling one side at the cost of the other would never
    // end.
    Advice Update(Window const& window, std::vector<Picture>& released);

    Picture TakeFirst(); // null when only one is left
    Picture TakeLast();  // the same

private:
    std::vector<Picture> GetAll() const;
    void PutBack(Picture const& picture);
    bool HasRoom(long long bytes) const;
    int GetCount() const;

    mutable std::mutex mutex;
    DecodedVideo cache;
    std::deque<Picture> waiting;
    long long waitingBytes = 0;
    long long budget = 0;
};
