#include "post/interrupts.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "common/process/signals.h"
#include "post/run_log.h"

namespace {

std::atomic<int> interruption{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler stores it");

void Survive(int /*signal*/) {}

void Keep(int signal) { interruption.store(signal, std::memory_order_relaxed); }

struct Tamed {
    void (*handler)(int);
    int signal;
    struct sigaction original;
};

// A handler that does nothing, not SIG_IGN: a child would inherit that. A log at its size limit (SIGXFSZ) is as good as
// a full disk.
Tamed tamed[] = {{Survive, SIGPIPE, {}}, {Survive, SIGHUP, {}}, {Survive, SIGXFSZ, {}},
                 {Keep, SIGTERM, {}},    {Keep, SIGINT, {}},    {SIG_DFL, SIGCHLD, {}}};

// Around a fork the signals wait: none may run a handler of ours inside the child. What else a fork does is in
// common/process/process_create.h.
thread_local sigset_t maskBefore;

void BlockSignals() {
    sigset_t mask;
    sigemptyset(&mask);
    for (const Tamed& row : tamed) sigaddset(&mask, row.signal);
    SignalMask(SIG_BLOCK, &mask, &maskBefore);
}

void RestoreMask() { SignalMask(SIG_SETMASK, &maskBefore, nullptr); }

void RestoreDispositions() {
    for (const Tamed& row : tamed) SignalSetAction(row.signal, &row.original, nullptr);
    RestoreMask();
}

}  // namespace

void PostMainTameSignals() {
    for (Tamed& row : tamed) {
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

int PostMainInterruption() { return interruption.load(std::memory_order_relaxed); }

int PostMainReportInterruption() {
    Line(LogError) << "Interrupted by signal '" << SignalName(PostMainInterruption()) << "'.\n";
    return EINTR;
}
