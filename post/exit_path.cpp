#include "post/exit_path.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include "common/process/process_control.h"
#include "common/util/string_owned.h"
#include "post/interrupts.h"
#include "post/post_data.h"
#include "post/progress.h"
#include "post/run_log.h"
#include "post/update_files.h"

namespace {

constexpr char kDefaultAction[] = "update";

bool ProgressClientStarted() {
    const MutexScope scope(progressData_.mutex);
    return progressData_.clientPid != -1;
}

// The report of the failure that was recorded last, between two pieces of its words.
void Report(const char* opening, const char* what, const char* name, const char* joint, const char* code)
    QV_GIVES_BACK(outcome_.mutex_) {
    LogFailure(outcome_.Failing(), opening, what, " '", StringOrNil(name), "'", joint, "context [", code, "]");
    outcome_.Reported();
}

// Where a dialogue of the operating system will be shown; for now a log line.
void PostMainShowDialog() { Line() << "PostMain: WARNING! Should now display an operating system dialog.\n"; }

// The failure of the client that the exit path itself started.
[[noreturn]] void PostMainClientFailure(const char* what, const char* name, const char* code)
    QV_GIVES_BACK(outcome_.mutex_) {
    Report("Can't ", what, name, " ", code);
    PostMainRollBack();
    PostMainShowDialog();
    PostMainFreeUpdates();
    ProcessExit(postData_.error);
}

// The arguments that tell a client the outcome. errorText is that of the error and must live as long as the vector.
ChildVector OutcomeVector(int error, const char* errorText) {
    ChildVector vector(postData_.client);
    if (error == 0) {
        vector.Add("--post", "success");
        return vector;
    }
    vector.Add("--post", postData_.action != nullptr ? postData_.action : kDefaultAction);
    vector.Add("--error", errorText);
    if (postData_.entry != nullptr) vector.Add("--entry", postData_.entry);
    if (postData_.startup == 0) vector.Add("--norestart");
    return vector;
}

[[noreturn]] void TellClient(int error) {
    const std::string errorText = std::to_string(error);
    const ChildKind& kind = kOutcomeClient;
    const ChildOutcome outcome = PostMainRunChild(kind, OutcomeVector(error, errorText.c_str()));
    if (outcome.error == 0) {
        PostMainFreeUpdates();
        ProcessExit(postData_.error);
    }
    outcome_.Fail(kind.action, outcome.error);
    const FailureWords& words = kind.failures[outcome.end];
    PostMainClientFailure(words.what, postData_.client, words.code);
}

}  // namespace

void PostMainExit() {
    outcome_.EndRun();
    const bool clientRuns = ProgressClientStarted();
    // Up to the join the progress thread may record its client's failure. Each decision is made on one value.
    int error = outcome_.Error();
    if (error != 0) {
        if (clientRuns) PostMainWriteProgress(-abs(error));
        if (progressData_.thread != ProgressData::kNone) {
            PostMainJoinProgress();
            error = outcome_.Error();
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

void PostMainExitFailed(const char* action, int error) {
    outcome_.Fail(action, error);
    outcome_.Reported();
    PostMainExit();
}

void PostMainReportFailure(const char* what, const char* name, const char* code) {
    Report("Can't ", what, name, " in ", code);
    PostMainExit();
}

void PostMainReportChildFailure(const char* what, const char* name, const char* code) {
    Report("Failure reported by ", what, name, " in ", code);
    PostMainExit();
}

void PostMainReportChild(const ChildKind& kind, const char* name, ChildEnd end) {
    const FailureWords& words = kind.failures[end];
    if (end == Exited) PostMainReportChildFailure(words.what, name, words.code);
    PostMainReportFailure(words.what, name, words.code);
}

void PostMainExitIfFailed(const ChildKind& kind, const char* name, const ChildOutcome& outcome) {
    if (outcome.error == 0) return;
    outcome_.Fail(kind.action, outcome.error);
    PostMainReportChild(kind, name, outcome.end);
}

void PostMainExitIfAsked() {
    outcome_.RestIfTaken();
    if (PostMainInterruption() == 0) return;
    outcome_.Fail(kDefaultAction, EINTR);
    PostMainReportInterruption();
    outcome_.Reported();
    PostMainExit();
}
