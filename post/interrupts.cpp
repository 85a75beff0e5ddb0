#include "post/interrupts.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "common/process/signals.h"
#include "post/run_log.h"

namespace {

std::atomic<int> pending{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler stores it");

void Ignore(int /*signal*/) {}

void Record(int signal) { pending.store(signal, std::memory_order_relaxed); }

struct Handled {
    void (*handler)(int);
    int signal;
    struct sigaction original;
};

// Ignore is used instead of SIG_IGN, which children would inherit. A log at its size limit (SIGXFSZ) is treated like a
// full disk.
Handled handled[] = {{Ignore, SIGPIPE, {}}, {Ignore, SIGHUP, {}}, {Ignore, SIGXFSZ, {}},
                     {Record, SIGTERM, {}}, {Record, SIGINT, {}}, {SIG_DFL, SIGCHLD, {}}};

// Signals are blocked during a fork, so that no handler runs in the child. common/process/process_create.h lists
// everything that a fork does.
thread_local sigset_t maskBefore;

void BlockSignals() {
    sigset_t mask;
    sigemptyset(&mask);
    for (const Handled& row : handled) sigaddset(&mask, row.signal);
    SignalMask(SIG_BLOCK, &mask, &maskBefore);
}

void RestoreMask() { SignalMask(SIG_SETMASK, &maskBefore, nullptr); }

void RestoreDispositions() {
    for (const Handled& row : handled) SignalSetAction(row.signal, &row.original, nullptr);
    RestoreMask();
}

}  // namespace

void PostMainInstallSignalHandlers() {
    for (Handled& row : handled) {
        SignalSetAction(row.signal, nullptr, &row.original);
        const auto replaced = row.handler == SIG_DFL ? SIG_IGN : SIG_DFL;
        if (row.original.sa_handler != replaced) continue;
        struct sigaction action;
        SignalClearAction(&action);
        action.sa_handler = row.handler;
        action.sa_flags = SA_RESTART;
        SignalSetAction(row.signal, &action, nullptr);
    }
    pthread_atfork(BlockSignals, RestoreMask, RestoreDispositions);
}

int PostMainPendingSignal() { return pending.load(std::memory_order_relaxed); }

int PostMainReportSignal() {
    Line(LogError) << "Interrupted by signal '" << SignalName(PostMainPendingSignal()) << "'.\n";
    return EINTR;
}
