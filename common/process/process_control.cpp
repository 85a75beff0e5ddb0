#include "common/process/process_control.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "common/log/failure.h"

namespace {

constexpr int kSignalBits = 0x7F;
constexpr int kStopped = 0x7F;

constexpr FailureStyle kError{.opening = "Process: ERROR! "};
// The misspelling stays: searches of logs rely on it.
constexpr FailureStyle kDetachWarning{.opening = "Process: WARNING! ", .errorOpening = "Provess: WARNING! "};

}  // namespace

int ProcessIsRunning(int pid) {
    if (kill(pid, 0) != -1) return 1;
    return errno == ESRCH ? 0 : LogFailedCall(kError, "Can't signal the pid ", pid);
}

int ProcessExitCode(int status) {
    if (ProcessHasExited(status) == 1) return ProcessExitStatus(status);
    if (ProcessWasSignaled(status) == 1) return EINTR;
    Log() << "Process: WARNING! Unrecognized exit code '" << status << "'.\n";
    return status;
}

int ProcessHasExited(int status) { return ProcessTermSignal(status) == 0 ? 1 : 0; }

int ProcessExitStatus(int status) { return status >> 8 & 0xFF; }

int ProcessWasSignaled(int status) {
    const int signal = ProcessTermSignal(status);
    return signal != 0 && signal != kStopped ? 1 : 0;
}

int ProcessTermSignal(int status) { return status & kSignalBits; }

int ProcessIsStopped(int status) { return (status & 0xFF) == kStopped ? 1 : 0; }

int ProcessStopSignal(int status) { return ProcessExitStatus(status); }

int ProcessSleep(uint32_t milliseconds) { return usleep(milliseconds * 1000U); }

int ProcessSignal(int pid, int signal) { return kill(pid, signal); }

int ProcessRaise(int signal) { return raise(signal); }

void ProcessExit(int code) { exit(code); }

void ProcessAbort() { abort(); }

void ProcessKillSelf() {
    kill(getpid(), SIGKILL);
    for (;;) ProcessSleep(1'000'000);
}

int ProcessDetach() { return daemon(1, 1) == 0 ? 1 : LogFailedCall(kDetachWarning, "Detach from terminal failed"); }
