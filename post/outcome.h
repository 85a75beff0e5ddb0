// How the run comes out: the failure that decides, which thread ends the run, and whether its success is settled.
//
// One thread ends the run: the first that records a failure, settles the success or enters the exit path. Then
// - the main thread, when the other one ends the run, rests until the process has gone; a failure that it brings along
//   is reported and otherwise forgotten;
// - the progress thread, when the main thread ends the run, ends itself, so that it can be joined; a failure that it
//   brings along is recorded, also after a success was settled: the process exits with it;
// - the progress thread, when it ends the run itself, first waits until the main thread rests, and so never works on
//   files beneath a running child.
// From Fail to Reported the other thread can record nothing: the first context in the log is that of the failure that
// decides.
#pragma once
#include <sys/types.h>

#include <atomic>

#include "common/util/guarded.h"
#include "common/util/mutex.h"

class Outcome {
public:
    Mutex mutex_;  ///< held from Fail to Reported

    /// Records a failure: its error in PostData::error and, unless null, its action word in PostData::action.
    void Fail(const char* action, int error) QV_TAKES(mutex_);

    /// The error of the failure that is being reported, recorded or not.
    int Failing() const QV_HOLDS(mutex_) { return failing_; }
    void Reported() QV_GIVES_BACK(mutex_);

    /// For the main thread, before the client learns of the success: whatever its client does from now on, nothing is
    /// rolled back. Doesn't return when the other thread ends the run.
    void SettleSuccess() QV_NOT_HELD(mutex_);

    /// For the main thread: doesn't return when the other thread ends the run.
    void RestIfTaken() QV_NOT_HELD(mutex_);

    /// Returns on the thread that ends the run, once the other one doesn't work any more, and on no other.
    void EndRun() QV_NOT_HELD(mutex_);

    /// The error that files and client are treated by: 0 for a success, also for one that was settled before the client
    /// failed.
    int Error() QV_NOT_HELD(mutex_);

private:
    bool Claim() QV_HOLDS(mutex_);
    [[noreturn]] void Rest();

    pid_t owner_ QV_GUARDED_BY(mutex_) = 0;  // the thread that ends the run
    bool settled_ QV_GUARDED_BY(mutex_) = false;
    int failing_ QV_GUARDED_BY(mutex_) = 0;
    std::atomic<bool> mainRests_{false};  // exit destroys the mutex beneath a resting thread, which must not need it
};

extern Outcome outcome_;
