// Starts programs as children. Stateless except for the log; any thread may call. A cancellation that arrives in
// ProcessCreate or ProcessFork stays pending until it returns, and does not reach the child. Strings and vectors belong
// to the caller.
#pragma once
#include <sys/types.h>

/// Priority levels and the nice values that they stand for: 19, 0, -10, -20. Any other level is a nice value itself.
enum { ProcessPriorityLowest = 100, ProcessPriorityNormal, ProcessPriorityHigh, ProcessPriorityHighest };

/// Starts a program and returns its process id at once; the caller reaps it with waitpid(2).
///
/// parameters is null-terminated: the file to execute (searched in PATH when environment is null and it has no '/'),
/// then the program's argument vector, so element 1 becomes argv[0]. environment is a null-terminated vector of
/// NAME=value texts, or null for the caller's own. command is a label for the reader and is not used. input, output and
/// error become the child's descriptors 0, 1 and 2; -1 or the stream's own number leaves a stream as inherited. They
/// are placed one after the other, in this order: crossed ones (-1, 2, 1) make both streams the first. A duplicated
/// descriptor is closed in the child, unless it is another stream too. No other descriptor is closed: mark
/// close-on-exec those that the child must not inherit. A close-on-exec descriptor that is already in its place (0, 1
/// or 2) is closed too. Signal dispositions and mask stay. level is always applied (ProcessSetPriority); with keepIds 0
/// the child runs with the real user and group id.
///
/// Returns -1 with errno: EINVAL and a log line for fewer than two parameters; fork's number and two lines when fork
/// fails. Failures inside the child are not reported: a failed id or priority is ignored, and a child whose program
/// cannot be executed exits silently with the error number as its status.
int ProcessCreate(const char* command, const char* const* parameters, const char* const* environment, int input,
                  int output, int error, int level, int keepIds);

/// ProcessCreate that reports whether the program was executed. report is a descriptor above 2 that is close-on-exec,
/// such as the writing end of a pipe, or -1 for none. The child writes the error number into it, an int in the
/// machine's order, when its program cannot be executed; execution closes it. Once the caller has closed its copy, a
/// read at the other end gives that number, or the end of the file as soon as the program runs.
int ProcessCreateReporting(const char* command, const char* const* parameters, const char* const* environment,
                           int input, int output, int error, int level, int keepIds, int report);

// Every fork runs these handlers of pthread_atfork(3): those before it in the reverse order of their registration,
// those after it in that order.
//
//   before    qvpost     blocks its signals: none of its handlers may run in the child (post/interrupts.cpp)
//             Logger     takes Logger::mutex_, whose holder would not be in the child, and flushes the three streams of
//                        logger_, which waits where the standard error is full (logger.cpp)
//             clock      takes the lock around the C library's time zone, for the same reason (time_text.cpp)
//   parent    undoes all of it, in the opposite order
//   child     clock      frees the time zone's lock
//             prefix     forgets the ids of the process and the thread (log_direct.cpp)
//             Logger     drops what another thread has inserted since the flush, on the standard error and in its
//                        files: the parent writes it; makes a new mutex, since a recursive one cannot be unlocked
//                        under another thread id
//             qvpost     restores the dispositions and the mask that it was started with
//
// ProcessCreate then silences the child's log and sets ids, streams and priority. If the program cannot be executed,
// the child ends by exit, not _exit, so that a preloaded library or a sanitizer can finish its work. Static destructors
// run; that of the Logger deletes the streams that the application gave it. Text buffered in other streams and Logger
// objects of the application is written a second time: flush them before.

/// fork(2) with the work above: the child's id in the parent, 0 in the child, silently -1 with errno. A fork that a
/// signal interrupts is repeated. The log is usable in the child; other locks that other threads hold stay locked. The
/// child returns with cancellation disabled (pthread_setcancelstate(3)).
int ProcessFork();

/// execve(2) with an environment, execvp(3) without. Returns only on failure: -1 with errno (EFAULT for a null file)
/// and two log lines. The three streams of logger_ are flushed before, unless the log is off (mode_ 0).
int ProcessExec(const char* file, const char* const* arguments, const char* const* environment);

/// Sets the nice value that ProcessPriorityValue gives for level, by setpriority(2), which on Linux changes the calling
/// thread alone. 1, or -1 with errno and two log lines.
int ProcessSetPriority(int level);

/// nice(2): adds increment to the nice value of the calling thread. 1, or -1 with errno and two log lines.
int ProcessChangePriority(int increment);

/// The nice value of a priority level.
int ProcessPriorityValue(int level);

/// The real ids.
uid_t ProcessGetUserId();
gid_t ProcessGetGroupId();

/// setuid(2), setgid(2). 1, or -1 with errno and two log lines.
int ProcessSetUserId(uid_t id);
int ProcessSetGroupId(gid_t id);
