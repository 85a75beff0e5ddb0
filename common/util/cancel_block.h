// Header only; not installed.
#pragma once
#include <pthread.h>

/// Keeps the calling thread from being cancelled for a scope. A cancellation that arrives meanwhile stays pending.
class CancelBlock {
public:
    CancelBlock() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~CancelBlock() noexcept(false) { pthread_setcancelstate(before_, nullptr); }  // an asynchronous one acts here
    CancelBlock(const CancelBlock&) = delete;
    CancelBlock& operator=(const CancelBlock&) = delete;

private:
    int before_;
};
