#pragma once

#include <QMutex>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TAVOLIN_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define TAVOLIN_THREAD_SANITIZER 1
#endif
#if defined(TAVOLIN_THREAD_SANITIZER)
#include <sanitizer/tsan_interface.h>
#endif

// Holds a mutex for a scope. ThreadSanitizer does not instrument Qt's library, so the lock reports acquire and release
// to it.
class CacheLock
{
public:
    explicit CacheLock(QMutex& mutex) : mutex(mutex)
    {
        mutex.lock();
#if defined(TAVOLIN_THREAD_SANITIZER)
        __tsan_acquire(&mutex);
#endif
    }

    ~CacheLock()
    {
#if defined(TAVOLIN_THREAD_SANITIZER)
        __tsan_release(&mutex);
#endif
        mutex.unlock();
    }

    CacheLock(CacheLock const&) = delete;
    CacheLock& operator=(CacheLock const&) = delete;

private:
    QMutex& mutex;
};
