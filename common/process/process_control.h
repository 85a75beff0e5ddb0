// Tests, signals and ends processes. Stateless; any thread may call.
#pragma once
#include <cstdint>

/// Whether a process exists, by kill(2) with signal 0: 1 yes, 0 no (ESRCH), -1 the probe failed, with its errno and two
/// log lines (EPERM: another user's process). 0 and negative ids address process groups, as with kill: 0 always
/// gives 1.
int ProcessIsRunning(int pid);

/// One number for a wait status (waitpid(2)): the exit status of a process that exited; 4, the number of EINTR, for one
/// that a signal killed; any other status unchanged, with a log line.
int ProcessExitCode(int status);

/// The rules of WIFEXITED, WEXITSTATUS, WIFSIGNALED, WTERMSIG, WIFSTOPPED and WSTOPSIG as functions; tests give 1 or 0.
int ProcessHasExited(int status);
int ProcessExitStatus(int status);
int ProcessWasSignaled(int status);
int ProcessTermSignal(int status);
int ProcessIsStopped(int status);
int ProcessStopSignal(int status);

/// usleep(3) for so many milliseconds: 0, or -1 with errno EINTR when a signal handler ran. The microseconds are a
/// 32-bit product: more than 4,294,967 milliseconds wrap.
int ProcessSleep(uint32_t milliseconds);

/// kill(2) and raise(3), their arguments, results and errno unchanged.
int ProcessSignal(int pid, int signal);
int ProcessRaise(int signal);

/// exit(3): exit handlers and static destructors run.
[[noreturn]] void ProcessExit(int code);

/// abort(3) and SIGKILL for the own process, at once: buffered log text is lost.
[[noreturn]] void ProcessAbort();
[[noreturn]] void ProcessKillSelf();

/// daemon(3), keeping working directory and standard descriptors: the calling process exits, and a copy of it with the
/// calling thread alone continues in a new session. Returns 1 in the copy, or -1 with errno and two log lines.
int ProcessDetach();
