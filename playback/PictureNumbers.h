#pragma once

#include "source/PictureIndex.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class Source;

// What the thread that reads an index shares with the engine. It takes no lock, because any file may make it wait.
struct IndexReading
{
    std::atomic<bool> stopped = false;         // nobody needs it any more
    std::atomic<bool> done = false;            // `index` stays as it is
    std::shared_ptr<PictureIndex const> index; // null when there is none
};

// The index of what is open, as soon as it has been read. Each decoded picture is compared with it: a picture that the
// index does not hold with exactly these times refutes it, and then there is no index.
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

// The threads that read indexes. They run at the lowest priority of processor and disk, so that they slow nothing down.
// When a source is closed, its thread stops by itself, and nobody waits for it.
//
// One thread at a time.
class IndexThreads
{
public:
    ~IndexThreads(); // stops them and waits

    // Reads the index of a source with pictures. An index that needs no reading is ready on return. If no thread can be
    // started, there will be no index.
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
