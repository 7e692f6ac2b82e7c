#include "playback/DecodingThread.h"

#include "common/Microseconds.h"

#include <exception>
#include <new>
#include <system_error>
#include <utility>

namespace {

// While the clock runs, the thread looks at least this often what is needed. The sound output does not wake it: that
// takes a system call, after which the other thread may run first.
constexpr auto longestRest = std::chrono::milliseconds(10);

// Microseconds of another stream of sound that are decoded before it takes over.
constexpr long long soundToChange = secondUs / 5;

// One sentence for the reader, without an allocation where there may be no memory.
QString TroubleOf(std::exception const& exception)
{
    QString noMemory = QStringLiteral("Memory has run out.");
    if (dynamic_cast<std::bad_alloc const*>(&exception))
        return noMemory;
    auto const* refusal = dynamic_cast<std::system_error const*>(&exception);
    bool const isThread = refusal && refusal->code() == std::errc::resource_unavailable_try_again;
    try {
        QString const what = QString::fromLocal8Bit(exception.what());
        return isThread ? QStringLiteral("A thread could not be started: %1.").arg(what)
                        : QStringLiteral("Decoding was broken off: %1.").arg(what);
    } catch (std::bad_alloc const&) {
        return noMemory;
    }
}

} // namespace

DecodingThread::DecodingThread(PlaybackOptions const& newOptions, std::mutex& newMutex, PlayState const& newState,
                               AskNeed newAsk, std::function<void()> newNoteMedia)
    : options(newOptions),
      mutex(newMutex),
      state(newState),
      ask([this, asked = std::move(newAsk)] {
          PlayNeed need = asked();
          if (quitting)
              need.openSerial = -1; // nothing that is open is needed any more
          return need;
      }),
      noteMedia(std::move(newNoteMedia)),
      thread([this] { Run(); })
{}

DecodingThread::~DecodingThread()
{
    {
        std::lock_guard const lock(mutex);
        quitting = true;
        wake.notify_one();
    }
    thread.join();
}

void DecodingThread::Open(MediaItem const& newItem)
{
    item = newItem;
    ordered = true;
    soundStream = options.soundStream;
    soundOrdered = false;
    opening = !item.path.isEmpty();
    error.clear();
    noteMedia();
    Notify();
}

void DecodingThread::ChangeSound(int newSoundStream)
{
    soundStream = newSoundStream;
    soundOrdered = ordered || opening || media;
}

void DecodingThread::Run()
{
    Lock lock(mutex);
    while (!quitting) {
        long long seen = state.wakeSerial;
        bool worked = false;
        try {
            while (ordered && !quitting)
                TakeUpOrder(lock);
            if (soundOrdered && !quitting)
                TakeUpSound(lock);
            seen = state.wakeSerial;
            worked = media && Work(lock);
        } catch (std::exception const& exception) {
            GiveUp(lock, TroubleOf(exception));
        }
        progress.notify_all();
        auto const isDue = [&] { return worked || quitting || ordered || soundOrdered || state.wakeSerial != seen; };
        if (state.clock.GetSpeed() != 0.0)
            wake.wait_for(lock, longestRest, isDue);
        else
            wake.wait(lock, isDue);
    }
    lock.unlock();
    media.reset();
}

bool DecodingThread::Work(Lock& lock)
{
    lock.unlock();
    bool const worked = media->Work(ask(), ask);
    ask(); // play begins as soon as it can
    lock.lock();
    return worked;
}

void DecodingThread::TakeUpOrder(Lock& lock)
{
    ordered = false;
    auto former = std::exchange(media, nullptr);
    MediaItem const asked = item;
    long long const serial = state.openSerial;
    lock.unlock();
    former.reset();
    if (!asked.path.isEmpty())
        OpenMedia(lock, asked, serial);
    else
        lock.lock();
}

// First the pictures, so that one can be shown; then the sound.
void DecodingThread::OpenMedia(Lock& lock, MediaItem const& asked, long long serial)
{
    StopCheck const stop = [this, serial] { return ask().openSerial != serial; };
    PlayNeed const need = ask();
    PlaybackOptions now = options;
    now.colours = need.colours;
    QString trouble;
    auto made = MediaFeed::Open(asked, now, need.budget, stop, trouble);
    if (made)
        made->StartNumbers(indexThreads);
    lock.lock();
    media = std::move(made);
    if (state.openSerial != serial)
        return; // the next order lets go of it
    error = trouble;
    opening = false;
    noteMedia();
    if (!media || !media->soundPending)
        return;

    progress.notify_all();
    lock.unlock();
    auto sound = media->OpenSound(now.soundStream, stop);
    lock.lock();
    media->sound = std::move(sound);
    media->soundPending = false;
    noteMedia();
}

// The new stream is decoded around the position before it takes over, so that no moment is silent.
void DecodingThread::TakeUpSound(Lock& lock)
{
    int const number = soundStream;
    long long const serial = state.openSerial;
    bool const isWanted = media && media->sound;
    lock.unlock();
    StopCheck const stop = [this, serial] { return ask().openSerial != serial; };
    auto sound = isWanted ? media->OpenSound(number, stop) : nullptr;
    while (sound && !stop() && !sound->HasSound(ask(), soundToChange) && sound->Work(ask(), ask, soundToChange))
        continue;
    lock.lock();
    if (state.openSerial == serial) {
        soundOrdered = soundStream != number;
        if (sound)
            std::swap(media->sound, sound);
        noteMedia();
    }
    lock.unlock();
    if (sound)
        sound->GetOutput()->Clear(); // the output thread may still hold it, and frees nothing
    sound.reset();
    lock.lock();
}

// What was interrupted cannot be trusted any more.
void DecodingThread::GiveUp(Lock& lock, QString const& trouble)
{
    if (!lock.owns_lock())
        lock.lock();
    auto former = std::exchange(media, nullptr);
    if (!ordered) {
        opening = false;
        error = trouble;
    }
    noteMedia();
    lock.unlock();
    former.reset();
    lock.lock();
}
