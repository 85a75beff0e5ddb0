#include "common/util/mutex.h"

#include <algorithm>
#include <ctime>

#include "common/util/time_text.h"

namespace {

int InitRecursive(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    const int error = pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return error;
}

}  // namespace

Mutex::Mutex() {
    if (InitRecursive(&mutex_) != 0) ReportFailure("initialize");
}

Mutex::~Mutex() { pthread_mutex_destroy(&mutex_); }

int Mutex::TimedLock(int milliseconds) {
    struct timespec deadline = {};
    TimeGetClock(CLOCK_REALTIME, &deadline);
    const int wait = std::max(milliseconds, 0);
    deadline.tv_sec += wait / 1000;
    deadline.tv_nsec += wait % 1000 * 1'000'000L;
    if (deadline.tv_nsec > 999'999'999) {
        ++deadline.tv_sec;
        deadline.tv_nsec -= 1'000'000'000;
    }
    return pthread_mutex_timedlock(&mutex_, &deadline) == 0 ? 1 : 0;
}

int Mutex::SpinLock() {
    while (pthread_mutex_trylock(&mutex_) != 0) {
    }
    return 0;
}

void Mutex::Reset() {
    pthread_mutex_t fresh;
    if (InitRecursive(&fresh) != 0) {
        ReportFailure("reset");
        return;
    }
    pthread_mutex_t old = mutex_;
    mutex_ = fresh;
    pthread_mutex_destroy(&old);
}
