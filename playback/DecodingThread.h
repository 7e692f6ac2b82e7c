#pragma once

#include "playback/MediaFeed.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

// The thread of an engine that opens sources and decodes what play needs of them. There is no queue: before each piece
// of work it asks what is needed most.
//
// All operations are called under the lock of the state of play, apart from constructor and destructor. The thread
// itself decodes and frees without it.
class DecodingThread
{
public:
    // `mutex` is the lock of `state`. `ask` takes that lock and brings the state up to now. `noteMedia` is called with
    // the lock held when GetMedia has changed.
    DecodingThread(PlaybackOptions const& options, std::mutex& mutex, PlayState const& state, AskNeed ask,
                   std::function<void()> noteMedia);
    ~DecodingThread(); // breaks off what is under way, and waits for the thread

    void Open(MediaItem const& item);    // as of the state's openSerial; an empty path closes
    void ChangeSound(int soundStream);   // of what is open or opening, see SourceOptions
    void Notify() { wake.notify_one(); } // after a change of the state's wakeSerial

    // Until a piece of work is done; false when `until` has passed. Lets go of the lock meanwhile.
    bool WaitForProgress(std::unique_lock<std::mutex>& lock, std::chrono::steady_clock::time_point until)
    {
        return progress.wait_until(lock, until) == std::cv_status::no_timeout;
    }

    // Null when nothing is open, or not yet so far that play can begin.
    MediaFeed const* GetMedia() const { return ordered || opening ? nullptr : media.get(); }

    bool IsOpening() const { return opening; } // until there is a picture or a sound, or the failure is known
    // Opening, also sound, or another stream of sound; closing.
    bool IsBusy() const { return ordered || opening || soundOrdered || (media && media->soundPending); }
    bool IsSoundChanging() const { return soundOrdered; }
    QString const& GetPath() const { return item.path; }
    QString const& GetError() const { return error; } // of the opening, or what the thread has given up for

private:
    using Lock = std::unique_lock<std::mutex>;

    void Run();
    void TakeUpOrder(Lock& lock);
    void OpenMedia(Lock& lock, MediaItem const& asked, long long serial);
    void TakeUpSound(Lock& lock);
    bool Work(Lock& lock);
    void GiveUp(Lock& lock, QString const& trouble);

    PlaybackOptions const options;
    IndexThreads indexThreads; // the thread's alone
    std::mutex& mutex;
    PlayState const& state;
    AskNeed const ask;
    std::function<void()> const noteMedia;
    std::condition_variable wake;
    std::condition_variable progress;
    std::atomic<bool> quitting = false;

    // Under the lock.
    MediaItem item;
    bool ordered = false; // `item` is not taken up yet
    bool opening = false;
    int soundStream = -1;
    bool soundOrdered = false; // the media's sound is not that of `soundStream` yet
    QString error;
    std::unique_ptr<MediaFeed> media;

    std::thread thread; // last: it runs on all of the above
};
