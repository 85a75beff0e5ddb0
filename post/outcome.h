// Which failure decides how the run ends, which thread ends it, and whether its success is committed.
//
// One thread ends the run: the first that records a failure, commits the success or enters the exit path.
// - When the progress thread ends the run, the main thread parks. A failure of the main thread is then only reported.
// - When the main thread ends the run, the progress thread ends itself, so that it can be joined. A failure of its
//   client is recorded even after a committed success and becomes the exit code.
// - The progress thread ends a run only after the main thread has parked, and so while no child of that thread runs.
#pragma once
#include <sys/types.h>

#include <atomic>

#include "common/util/mutex.h"
#include "common/util/thread_annotations.h"

class Outcome {
public:
    /// Records a failure: its error in PostData::error and, unless null, its action in PostData::action. report writes
    /// its lines under the mutex: the first context in the log belongs to the failure that decides.
    template <class Report>
    void Fail(const char* action, int error, const Report& report) EXCLUDES(mutex_) {
        const MutexLock scope(mutex_);
        Record(action, error);
        report();
    }

    /// For the main thread: commits the success, after which nothing is rolled back, whatever the client does. Returns
    /// false when the other thread ends the run.
    bool Commit() EXCLUDES(mutex_);
    bool IsCommitted() EXCLUDES(mutex_);

    /// Claims the end of the run for the calling thread. Returns false when the other thread ends the run.
    bool Claim() EXCLUDES(mutex_);

    /// Whether the other thread ends the run.
    bool IsTaken() EXCLUDES(mutex_);

    /// For the thread that does not end the run: the main thread parks until the process ends, the other one exits.
    [[noreturn]] void StandAside();

    /// For the thread that ends the run: returns once the main thread has parked, or is the calling thread.
    void AwaitMainThread();

private:
    void Record(const char* action, int error) REQUIRES(mutex_);
    bool ClaimLocked() REQUIRES(mutex_);

    Mutex mutex_;
    pid_t owner_ GUARDED_BY(mutex_) = 0;  // the thread that ends the run
    bool committed_ GUARDED_BY(mutex_) = false;
    std::atomic<bool> mainIsParked_{false};  // no mutex: exit destroys it while the main thread is parked
};

extern Outcome outcome_;
