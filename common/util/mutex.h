// A recursive POSIX mutex. Messages go straight to the standard error (log_direct.h): one mutex of the program is built
// before the Logger, and another one is the Logger's own.
#pragma once
#include <pthread.h>

#include "common/util/thread_annotations.h"

class CAPABILITY("mutex") Mutex {
public:
    /// Logs when the mutex cannot be initialised; the object then holds what the failed call left.
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// The holder may lock again, and must unlock as often. Results of the system are ignored.
    void Lock() ACQUIRE() { pthread_mutex_lock(&mutex_); }
    void Unlock() RELEASE() { pthread_mutex_unlock(&mutex_); }

    /// Waits for the mutex at most this many milliseconds; with 0 or less it is taken only if that is possible at once.
    /// Returns 1 when it was taken, or 0 after a time-out or an error. The deadline is a time of the real-time clock,
    /// as pthread_mutex_timedlock(3) requires: a change of the system time moves it.
    int TimedLock(int milliseconds);

    /// Tries until it has the mutex, without pausing or yielding, which keeps a processor busy. Returns 0.
    int SpinLock();

    /// Replaces the mutex by a new, unlocked one, whichever thread held it. Only for a process with a single thread,
    /// such as a child right after fork. A failure is logged and keeps the old mutex.
    void Reset();

private:
    static void ReportFailure(const char* what);  // in common/log/mutex_report.cpp

    pthread_mutex_t mutex_;
};

/// Holds a mutex for a scope.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
    ~MutexLock() RELEASE() { mutex_.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};
