#include "playback/PictureNumbers.h"

#include "source/PictureIndexReader.h"
#include "source/Source.h"

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <exception>
#include <utility>

namespace {

constexpr size_t mostNoted = 1U << 16; // pictures, 1 MiB; those that come later are not compared

// From now on the calling thread gets processor and disk only when nothing else wants them. If the system refuses, its
// priority stays as it is.
void TakeLowestPriority()
{
    sched_param none = {};
    pthread_setschedparam(pthread_self(), SCHED_IDLE, &none);
    constexpr int ofThisThread = 1; // IOPRIO_WHO_PROCESS, which glibc does not name
    constexpr int idleClass = 3 << 13;
    syscall(SYS_ioprio_set, ofThisThread, 0, idleClass);
}

void Read(IndexReading& reading, Source const& source)
{
    try {
        reading.index = ReadPictureIndex(source, [&reading] { return reading.stopped.load(); });
    } catch (std::exception const&) {
        reading.index = nullptr; // memory has run out: pictures go without numbers
    }
    reading.done = true;
}

} // namespace

PictureNumbers::PictureNumbers(std::shared_ptr<IndexReading> newReading) : reading(std::move(newReading)) {}

PictureNumbers::~PictureNumbers()
{
    reading->stopped = true;
}

std::shared_ptr<PictureIndex const> PictureNumbers::Get()
{
    if (!reading->done || !reading->index)
        return nullptr;
    std::lock_guard const lock(mutex);
    Compare();
    return refuted ? nullptr : reading->index;
}

void PictureNumbers::Note(long long start, long long end)
{
    std::lock_guard const lock(mutex);
    if (!refuted && noted.size() < mostNoted)
        noted.push_back({start, end});
    if (reading->done)
        Compare();
}

void PictureNumbers::Compare()
{
    for (Span const& span : noted)
        refuted = refuted || (reading->index && !reading->index->Has(span.start, span.end));
    noted.clear();
}

IndexThreads::~IndexThreads()
{
    for (Running const& thread : running)
        thread.reading->stopped = true;
    for (Running& one : running)
        one.thread.join();
}

std::unique_ptr<PictureNumbers> IndexThreads::Start(Source const& source)
{
    JoinDone();
    auto reading = std::make_shared<IndexReading>();
    auto numbers = std::make_unique<PictureNumbers>(reading);
    if (source.GetKind() != SourceKind::Movie) {
        Read(*reading, source);
        return numbers;
    }
    running.push_back({reading, {}});
    try {
        running.back().thread = std::thread([reading, source] {
            TakeLowestPriority();
            Read(*reading, source);
        });
    } catch (std::exception const&) {
        running.pop_back();
    }
    return numbers;
}

void IndexThreads::JoinDone()
{
    running.remove_if([](Running& one) {
        if (one.reading->done)
            one.thread.join();
        return one.reading->done.load();
    });
}
