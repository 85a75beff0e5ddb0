#include "post/outcome.h"

#include <unistd.h>

#include "common/process/thread.h"
#include "common/util/string_owned.h"
#include "post/post_data.h"

// Built and destroyed with the other record that two threads share (post_data.cpp).
__attribute__((init_priority(150))) Outcome outcome_;

namespace {

bool OnMainThread() { return gettid() == getpid(); }

}  // namespace

// False when the other thread ends the run.
bool Outcome::Claim() {
    const pid_t self = gettid();
    if (owner_ == 0) owner_ = self;
    return owner_ == self;
}

void Outcome::Rest() {
    // exit destroys static objects meanwhile: nothing is waited on here that it could destroy.
    mainRests_ = true;
    mainRests_.notify_all();
    for (;;) pause();
}

void Outcome::Fail(const char* action, int error) {
    mutex_.Lock();
    failing_ = error;
    if (!Claim() && OnMainThread()) return;
    if (action != nullptr) StringSet(&postData_.action, action);
    postData_.error = error;
}

void Outcome::Reported() { mutex_.Unlock(); }

void Outcome::SettleSuccess() {
    {
        const MutexScope scope(mutex_);
        settled_ = Claim();
        if (settled_) return;
    }
    Rest();
}

void Outcome::RestIfTaken() {
    {
        const MutexScope scope(mutex_);
        if (owner_ == 0 || owner_ == gettid()) return;
    }
    Rest();
}

void Outcome::EndRun() {
    bool ends;
    {
        const MutexScope scope(mutex_);
        ends = Claim();
    }
    if (OnMainThread()) {
        if (!ends) Rest();
    } else {
        if (!ends) ThreadExit(nullptr);
        mainRests_.wait(false);
    }
}

int Outcome::Error() {
    const MutexScope scope(mutex_);
    return settled_ ? 0 : postData_.error.load();
}
