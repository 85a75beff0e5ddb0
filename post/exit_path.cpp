#include "post/exit_path.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "common/log/logger.h"
#include "common/process/process_control.h"
#include "common/process/thread.h"
#include "common/util/string_owned.h"
#include "post/interrupts.h"
#include "post/post_data.h"
#include "post/progress.h"
#include "post/run_error.h"
#include "post/update_files.h"

namespace {

constexpr char kDefaultAction[] = "update";

std::atomic<bool> taken{false};
std::atomic<bool> mainRests{false};

bool OnMainThread() { return gettid() == getpid(); }

// exit destroys static objects meanwhile: nothing is waited on here that it could destroy.
[[noreturn]] void Rest() {
    mainRests = true;
    mainRests.notify_all();
    for (;;) pause();
}

void TakeExitPath() {
    if (taken.exchange(true)) {
        if (OnMainThread()) Rest();
        ThreadExit(nullptr);
    }
    if (!OnMainThread()) mainRests.wait(false);
}

void WriteReport(const char* opening, const char* what, const char* name, const char* joint, const char* code,
                 int error) {
    LogError() << opening << what << " '" << StringOrNil(name) << "'" << joint << "context [" << code << "].\n";
    LogError() << RunErrorIs(error) << ".\n";
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
    const FailureWords& words = outcome.end == ChildEnd::NotStarted  ? kClient.notStarted
                                : outcome.end == ChildEnd::NotWaited ? kClient.notWaited
                                                                     : kClient.failed;
    PostMainRecordFailure(kClient.action, outcome.error);
    PostMainClientFailure(words.what, postData_.client, words.code, outcome.error);
}

}  // namespace

void PostMainExit() {
    TakeExitPath();
    bool clientRuns;
    {
        const MutexScope scope(progressData_.mutex);
        clientRuns = progressData_.clientPid != -1;
    }
    // Read once: the progress thread may still record its client's failure, up to the join.
    const int error = postData_.error;
    if (error != 0) {
        if (clientRuns) {
            PostMainWriteProgress(-abs(error));
            PostMainJoinProgress();
        }
        PostMainRollBack();
    }
    if (postData_.client == nullptr || (clientRuns && error == 0)) {
        Log() << "PostMain: No client to start.\n";
        PostMainFreeUpdates();
        PostMainJoinProgress();
        ProcessExit(postData_.error);
    }
    TellClient(postData_.error);
}

void PostMainRecordFailure(const char* action, int error) {
    if (action != nullptr) StringSet(&postData_.action, action);
    postData_.error = error;
}

void PostMainReportFailure(const char* what, const char* name, const char* code, int error) {
    WriteReport("Can't ", what, name, " in ", code, error);
    PostMainExit();
}

void PostMainReportChildFailure(const char* what, const char* name, const char* code, int error) {
    WriteReport("Failure reported by ", what, name, " in ", code, error);
    PostMainExit();
}

void PostMainClientFailure(const char* what, const char* name, const char* code, int error) {
    WriteReport("Can't ", what, name, " ", code, error);
    PostMainRollBack();
    PostMainShowDialog();
    PostMainFreeUpdates();
    ProcessExit(postData_.error);
}

void PostMainJudgeChild(const ChildKind& kind, const char* name, const ChildOutcome& outcome) {
    if (outcome.error == 0) return;
    PostMainRecordFailure(kind.action, outcome.error);
    switch (outcome.end) {
        case ChildEnd::NotStarted:
            PostMainReportFailure(kind.notStarted.what, name, kind.notStarted.code, outcome.error);
        case ChildEnd::NotWaited:
            PostMainReportFailure(kind.notWaited.what, name, kind.notWaited.code, outcome.error);
        case ChildEnd::Exited:
            PostMainReportChildFailure(kind.failed.what, name, kind.failed.code, outcome.error);
    }
}

void PostMainShowDialog() { Log() << "PostMain: WARNING! Should now display an operating system dialog.\n"; }

void PostMainBoundary() {
    if (taken) Rest();
    if (PostMainInterruption() == 0) return;
    PostMainRecordFailure(postData_.action == nullptr ? kDefaultAction : nullptr, PostMainReportInterruption());
    PostMainExit();
}
