#include "post/exit_path.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "common/process/process_control.h"
#include "common/process/thread.h"
#include "common/util/string_owned.h"
#include "post/interrupts.h"
#include "post/post_data.h"
#include "post/progress.h"
#include "post/run_log.h"
#include "post/update_files.h"

namespace {

constexpr char kDefaultAction[] = "update";

std::atomic<int> owner{0};  // the thread id of the one that takes the exit path
std::atomic<bool> mainRests{false};
bool succeeded = false;  // of the main thread: the run's outcome is settled, whatever its client does from now on

bool OnMainThread() { return gettid() == getpid(); }

// Claims the exit path; false when the other thread has.
bool Claim() {
    const int self = gettid();
    int other = 0;
    return owner.compare_exchange_strong(other, self) || other == self;
}

// exit destroys static objects meanwhile: nothing is waited on here that it could destroy.
[[noreturn]] void Rest() {
    mainRests = true;
    mainRests.notify_all();
    for (;;) pause();
}

void TakeExitPath() {
    const bool onMain = OnMainThread();
    if (!Claim()) {
        if (onMain) Rest();
        ThreadExit(nullptr);
    }
    if (!onMain) mainRests.wait(false);
}

// In one step, so that the first context in the log is that of the failure that decides.
void RecordAndReport(const char* opening, const char* what, const char* name, const char* joint, const char* code,
                     const char* action, int error) {
    const MutexScope scope(Logger::mutex_);
    PostMainRecordFailure(action, error);
    LogFailure(error, opening, what, " '", StringOrNil(name), "'", joint, "context [", code, "]");
}

// The arguments that tell a client the outcome. errorText must hold 8 bytes and live as long as the vector.
ChildVector OutcomeVector(int error, char* errorText) {
    ChildVector vector(postData_.client);
    if (error == 0) {
        vector.Add("--post", "success");
        return vector;
    }
    snprintf(errorText, 8, "%d", error);
    vector.Add("--post", postData_.action != nullptr ? postData_.action : kDefaultAction);
    vector.Add("--error", errorText);
    if (postData_.entry != nullptr) vector.Add("--entry", postData_.entry);
    if (postData_.startup == 0) vector.Add("--norestart");
    return vector;
}

[[noreturn]] void TellClient(int error) {
    char errorText[8];
    const ChildOutcome outcome = PostMainRunChild(kClient, OutcomeVector(error, errorText));
    if (outcome.error == 0) {
        PostMainFreeUpdates();
        ProcessExit(postData_.error);
    }
    const FailureWords& words = kClient.failures[outcome.end];
    PostMainClientFailure(words.what, postData_.client, words.code, kClient.action, outcome.error);
}

}  // namespace

void PostMainExit() {
    TakeExitPath();
    bool clientRuns;
    {
        const MutexScope scope(progressData_.mutex);
        clientRuns = progressData_.clientPid != -1;
    }
    // Up to the join the progress thread may record its client's failure. Each decision is made on one value.
    int error = succeeded ? 0 : postData_.error.load();
    if (error != 0) {
        if (clientRuns) PostMainWriteProgress(-abs(error));
        if (progressData_.thread != ProgressData::kNone) {
            PostMainJoinProgress();
            error = postData_.error;
        }
        PostMainRollBack();
    }
    if (postData_.client == nullptr || (clientRuns && error == 0)) {
        Line() << "PostMain: No client to start.\n";
        PostMainFreeUpdates();
        PostMainJoinProgress();
        ProcessExit(postData_.error);
    }
    TellClient(error);
}

void PostMainRecordFailure(const char* action, int error) {
    if (!Claim() && OnMainThread()) return;
    if (action != nullptr) StringSet(&postData_.action, action);
    postData_.error = error;
}

void PostMainReportFailure(const char* what, const char* name, const char* code, const char* action, int error) {
    RecordAndReport("Can't ", what, name, " in ", code, action, error);
    PostMainExit();
}

void PostMainReportChildFailure(const char* what, const char* name, const char* code, const char* action, int error) {
    RecordAndReport("Failure reported by ", what, name, " in ", code, action, error);
    PostMainExit();
}

void PostMainClientFailure(const char* what, const char* name, const char* code, const char* action, int error) {
    RecordAndReport("Can't ", what, name, " ", code, action, error);
    PostMainRollBack();
    PostMainShowDialog();
    PostMainFreeUpdates();
    ProcessExit(postData_.error);
}

void PostMainJudgeChild(const ChildKind& kind, const char* name, const ChildOutcome& outcome) {
    if (outcome.error == 0) return;
    const FailureWords& words = kind.failures[outcome.end];
    const auto report = outcome.end == Exited ? PostMainReportChildFailure : PostMainReportFailure;
    report(words.what, name, words.code, kind.action, outcome.error);
}

void PostMainShowDialog() { Line() << "PostMain: WARNING! Should now display an operating system dialog.\n"; }

void PostMainClaimExit() {
    if (!Claim()) Rest();
    succeeded = true;
}

void PostMainBoundary() {
    if (owner != 0) Rest();
    if (PostMainInterruption() == 0) return;
    {
        const MutexScope scope(Logger::mutex_);
        PostMainRecordFailure(kDefaultAction, PostMainReportInterruption());
    }
    PostMainExit();
}
