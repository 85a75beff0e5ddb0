#include "common/process/thread.h"

#include <sched.h>

#include <cerrno>
#include <csignal>

#include "common/log/failure.h"

namespace {

constexpr FailureStyle kError{.opening = "Thread: ERROR! ", .lines = FailureLines::One};

constexpr auto kNoThread = static_cast<pthread_t>(-1);

// The result of all wrappers: 1 for success, else -1 with the number in errno and in the line of this call.
int Finish(int error, const char* call) {
    if (error == 0) return 1;
    errno = error;
    return LogFailedCall(kError, "Thread ", call, " failed");
}

}  // namespace

int ThreadCreate(pthread_t* handle, pthread_t* id, void* (*function)(void*), void* argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_JOINABLE);
    const int error = pthread_create(id, &attributes, function, argument);
    pthread_attr_destroy(&attributes);
    if (error != 0) *id = kNoThread;
    *handle = *id;
    return Finish(error, "creation");
}

int ThreadCheck(pthread_t handle) {
    const int error = pthread_kill(handle, 0);
    return error == ESRCH ? 0 : Finish(error, "check");
}

int ThreadSignal(pthread_t handle, int signal) {
    const int error = pthread_kill(handle, signal);
    if (error != ESRCH) return Finish(error, "signal");
    errno = ESRCH;
    return -1;
}

int ThreadCancel(pthread_t handle) {
    const int error = pthread_cancel(handle);
    return error == ESRCH ? 0 : Finish(error, "cancel");
}

int ThreadJoin(pthread_t handle, void** result) { return Finish(pthread_join(handle, result), "join"); }

int ThreadStop(pthread_t handle) {
    if (ThreadCheck(handle) == 0) return 0;
    ThreadCancel(handle);
    void* dropped;
    return ThreadJoin(handle, &dropped);
}

void ThreadExit(void* value) { pthread_exit(value); }

int ThreadSetCancelType(int type) {
    switch (type) {
        case ThreadCancelDeferred:
            return pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, nullptr);
        case ThreadCancelAsynchronous:
            return ThreadSetCancelAsynchronous();
        default:
            Log() << "Thread: ERROR! Invalid thread cancelability type '" << type << "'.\n";
            return EINVAL;
    }
}

int ThreadSetCancelAsynchronous() { return pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr); }

int ThreadYield() { return sched_yield(); }
