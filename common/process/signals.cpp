#include "common/process/signals.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "common/log/failure.h"
#include "common/process/process_control.h"

namespace {

constexpr FailureStyle kError{.opening = "Signal: ERROR! ", .lines = FailureLines::One};

constexpr struct {
    int number;
    const char* name;
} kSignals[] = {{SIGHUP, "SIGHUP"},     {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"}, {SIGILL, "SIGILL"},
                {SIGABRT, "SIGABRT"},   {SIGFPE, "SIGFPE"},   {SIGKILL, "SIGKILL"}, {SIGUSR1, "SIGUSR1"},
                {SIGSEGV, "SIGSEGV"},   {SIGUSR2, "SIGUSR2"}, {SIGPIPE, "SIGPIPE"}, {SIGALRM, "SIGALRM"},
                {SIGTERM, "SIGTERM"},   {SIGCHLD, "SIGCHLD"}, {SIGCONT, "SIGCONT"}, {SIGSTOP, "SIGSTOP"},
                {SIGTSTP, "SIGTSTP"},   {SIGTTIN, "SIGTTIN"}, {SIGTTOU, "SIGTTOU"}, {SIGVTALRM, "SIGVTALRM"},
                {SIGWINCH, "SIGWINCH"}, {SIGPOLL, "SIGPOLL"}};

static_assert(std::is_sorted(std::begin(kSignals), std::end(kSignals),
                             [](const auto& a, const auto& b) { return a.number < b.number; }));

}  // namespace

int SignalMask(int how, const sigset_t* set, sigset_t* old) {
    const ErrnoRestorer kept;
    const int error = pthread_sigmask(how, set, old);
    if (error != 0) {
        errno = error;
        LogFailedCall(kError, "Function pthread_sigmask failed");
    }
    return error;
}

int SignalSetAction(int signal, const struct sigaction* action, struct sigaction* old) {
    return sigaction(signal, action, old) == 0 ? 0 : LogFailedCall(kError, "Call to sigaction failed");
}

int SignalSetTimer(int timer, const struct itimerval* value, struct itimerval* old) {
    return setitimer(timer, value, old) != -1 ? 0 : LogFailedCall(kError, "Call to setitimer failed");
}

void (*SignalSetHandler(int signal, void (*handler)(int)))(int) {
    const auto previous = ::signal(signal, handler);
    if (previous != SIG_ERR) return previous;
    LogFailedCall(kError, "Call to signal failed");
    return nullptr;
}

void SignalClearAction(struct sigaction* action) { memset(action, 0, sizeof *action); }

void SignalClearTimer(struct itimerval* timer) { memset(timer, 0, sizeof *timer); }

const char* SignalName(int signal) {
    for (const auto& row : kSignals) {
        if (row.number == signal) return row.name;
    }
    return "None";
}

const char* SignalHandlerName(void (*handler)(int)) {
    if (handler == SIG_DFL) return "SIG_DFL";
    return handler == SIG_IGN ? "SIG_IGN" : "User defined";
}

const char* ProcessTermSignalName(int status) { return SignalName(ProcessTermSignal(status)); }

const char* ProcessStopSignalName(int status) { return SignalName(ProcessStopSignal(status)); }

void SignalDumpSet(const sigset_t* set, const char* label, Logger* logger) {
    if (logger == nullptr) logger = &logger_;
    if (label == nullptr) label = "Signal";
    for (const auto& row : kSignals) {
        logger->Log() << label << "/Signal: " << row.number << ", " << row.name << "\t";
        logger->Continue() << (sigismember(set, row.number) != 0 ? "Yes\n" : "No\n");
    }
}
