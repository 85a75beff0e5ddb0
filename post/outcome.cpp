#include "post/outcome.h"

#include <unistd.h>

#include "common/process/thread.h"
#include "common/util/string_owned.h"
#include "post/post_data.h"

// Built and destroyed with the other record that two threads share (post_data.cpp).
__attribute__((init_priority(150))) Outcome outcome_;

static bool OnMainThread() { return gettid() == getpid(); }

bool Outcome::ClaimLocked() {
    if (owner_ == 0) owner_ = gettid();
    return owner_ == gettid();
}

void Outcome::Record(const char* action, int error) {
    if (!ClaimLocked() && OnMainThread()) return;
    if (action != nullptr) StringSet(&postData_.action, action);
    postData_.error = error;
}

bool Outcome::Commit() {
    const MutexLock scope(mutex_);
    return committed_ = ClaimLocked();
}

bool Outcome::IsCommitted() {
    const MutexLock scope(mutex_);
    return committed_;
}

bool Outcome::Claim() {
    const MutexLock scope(mutex_);
    return ClaimLocked();
}

bool Outcome::IsTaken() {
    const MutexLock scope(mutex_);
    return owner_ != 0 && owner_ != gettid();
}

void Outcome::StandAside() {
    if (!OnMainThread()) ThreadExit(nullptr);
    // exit destroys static objects while this thread is parked: it waits on none of them.
    mainIsParked_ = true;
    mainIsParked_.notify_all();
    for (;;) pause();
}

void Outcome::AwaitMainThread() {
    if (!OnMainThread()) mainIsParked_.wait(false);
}
