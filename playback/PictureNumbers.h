#pragma once

#include "source/PictureIndex.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class Source;

// The reading of an index by a thread that must not hold a lock which others wait for.
struct IndexReading
{
    std::atomic<bool> stopped = false;         // nobody needs it any more
    std::atomic<bool> done = false;            // `index` stays as it is
    std::shared_ptr<PictureIndex const> index; // null when there is none
};

// The index of what is open, as soon as it has been read, compared with each picture that is decoded: one that it does
// not have as it came refutes it, and then there is no index.
class PictureNumbers
{
public:
    explicit PictureNumbers(std::shared_ptr<IndexReading> reading);
    ~PictureNumbers(); // stops the reading

    // Any thread. Null until it is known, and once it has been refuted.
    std::shared_ptr<PictureIndex const> Get();

    // Decoding thread: a picture that came out of decoding and its exact span, also before the index is known.
    void Note(long long start, long long end);

private:
    struct Span
    {
        long long start;
        long long end;
    };

    void Compare();

    std::shared_ptr<IndexReading> const reading;
    std::mutex mutex;        // of the rest
    std::vector<Span> noted; // and not yet compared
    bool refuted = false;
};

// The threads that read indexes. They have the lowest priority that there is, so they take of processor and disk what
// nobody else wants. When a source is closed its thread stops by itself, and nobody waits for it.
//
// One thread at a time.
class IndexThreads
{
public:
    ~IndexThreads(); // stops them and waits

    // Reads the index of a source with pictures; one that needs no reading is there at once. Where no thread can be
    // started there never is one.
    std::unique_ptr<PictureNumbers> Start(Source const& source);

private:
    struct Running
    {
        std::shared_ptr<IndexReading> reading;
        std::thread thread;
    };

    void JoinDone();

    std::list<Running> running;
};
