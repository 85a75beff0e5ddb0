// Thin wrappers of POSIX threads. A failure writes one log line, except for ESRCH where an entry states it, and stores
// the error number that the thread library returns in errno. Any thread may call.
//
// An identifier of a thread that was already joined has undefined results, as in POSIX. Set such a variable to -1 (all
// bits set), which stands for no thread, and test for it.
#pragma once
#include <pthread.h>

/// When a thread that is cancelled ends: at its next cancellation point, or at once.
enum { ThreadCancelDeferred = 0, ThreadCancelAsynchronous = 1 };

/// Starts a joinable thread that runs function(argument). Returns 1, with its identifier in both variables (the handle
/// goes to the other calls, the id is for log lines), or -1, with -1 in both. *handle may still be unset when
/// the function begins.
int ThreadCreate(pthread_t* handle, pthread_t* id, void* (*function)(void*), void* argument);

/// Whether the thread exists: 1 yes, also when it has ended and is not joined yet; 0 no (ESRCH, no line); -1 the probe
/// failed.
int ThreadCheck(pthread_t handle);

/// Sends a signal to the thread. 1, also when it has ended and is not joined yet; -1, for ESRCH without a line.
int ThreadSignal(pthread_t handle, int signal);

/// Requests the thread to end. 1, 0 when there is none (ESRCH, no line), or -1.
int ThreadCancel(pthread_t handle);

/// Waits for the thread's end and releases it; *result takes the value that its function returned, or PTHREAD_CANCELED
/// when it was cancelled. 1 or -1.
int ThreadJoin(pthread_t handle, void** result);

/// Cancels and joins the thread: 0 when there is none, else the result of ThreadJoin.
int ThreadStop(pthread_t handle);

/// Ends the calling thread with a value for ThreadJoin. Objects on its stack are destroyed.
[[noreturn]] void ThreadExit(void* value);

/// Sets how the calling thread is cancelled. 0, or an error number, which is not stored in errno: EINVAL, with a log
/// line, for an unknown type.
int ThreadSetCancelType(int type);
int ThreadSetCancelAsynchronous();

/// Gives up the processor (sched_yield(2)). 0.
int ThreadYield();
