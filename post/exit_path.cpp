#include "post/exit_path.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include "common/process/process_control.h"
#include "common/util/string_owned.h"
#include "post/interrupts.h"
#include "post/outcome.h"
#include "post/post_data.h"
#include "post/progress.h"
#include "post/run_log.h"
#include "post/update_files.h"

namespace {

constexpr char kDefaultAction[] = "update";

bool ProgressClientStarted() {
    const MutexLock scope(progressData_.mutex);
    return progressData_.clientPid != -1;
}

// A dialogue of the operating system will be shown here; for now a line is logged.
void PostMainShowDialog() { Line() << "PostMain: WARNING! Should now display an operating system dialog.\n"; }

[[noreturn]] void Leave() {
    PostMainCommitRecord();
    ProcessExit(postData_.error);
}

// Ends the run after a failure of the client that the exit path started. No other thread is active.
[[noreturn]] void PostMainClientFailure(int error, const char* what, const char* name, const char* code) {
    postData_.error = error;
    LogFailure(error, "Can't ", what, " '", name, "' context [", code, "]");  // no "in" before "context"
    PostMainRollBack();
    PostMainShowDialog();
    PostMainFreeUpdates();
    Leave();
}

// The arguments that notify a client of the outcome. errorText must live as long as the vector.
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

void NotifyClient(int error) {
    const std::string errorText = std::to_string(error);
    const ChildOutcome outcome = PostMainRunChild(kClient, OutcomeVector(error, errorText.c_str()));
    if (outcome.error == 0) return;
    const FailureWords& words = kClient.failures[outcome.end];
    PostMainClientFailure(outcome.error, words.what, postData_.client, words.code);
}

[[noreturn]] void Finish(bool notifies, int error) {
    if (notifies) {
        NotifyClient(error);
    } else {
        Line() << "PostMain: No client to start.\n";
    }
    PostMainFreeUpdates();
    if (!notifies) PostMainJoinProgress();
    Leave();
}

// The verdict is fixed here. The exit code is read last: the progress client may still fail, which changes nothing
// else.
[[noreturn]] void EndSuccess(bool progressClientRuns) { Finish(postData_.client != nullptr && !progressClientRuns, 0); }

[[noreturn]] void EndFailure(bool progressClientRuns) {
    if (progressClientRuns) PostMainWriteProgress(-abs(postData_.error));
    PostMainJoinProgress();
    PostMainRollBack();
    Finish(postData_.client != nullptr, postData_.error);  // may be that of the progress client, which has ended
}

}  // namespace

void PostMainExit() {
    if (!outcome_.Claim()) outcome_.StandAside();
    outcome_.AwaitMainThread();
    const bool progressClientRuns = ProgressClientStarted();
    if (outcome_.IsCommitted()) EndSuccess(progressClientRuns);
    EndFailure(progressClientRuns);
}

void PostMainExitFailed(const char* action, int error) {
    outcome_.Fail(action, error, [] {});
    PostMainExit();
}

void PostMainReportFailure(const char* action, int error, const char* what, const char* name, const char* code) {
    outcome_.Fail(action, error, [&] { LogFailure(error, "Can't ", what, " '", name, "' in context [", code, "]"); });
    PostMainExit();
}

void PostMainReportChildFailure(const char* action, int error, const char* what, const char* name, const char* code) {
    outcome_.Fail(action, error,
                  [&] { LogFailure(error, "Failure reported by ", what, " '", name, "' in context [", code, "]"); });
    PostMainExit();
}

void PostMainExitIfFailed(const ChildKind& kind, const char* name, const ChildOutcome& outcome) {
    if (outcome.error == 0) return;
    const auto report = outcome.end == Exited ? PostMainReportChildFailure : PostMainReportFailure;
    const FailureWords& words = kind.failures[outcome.end];
    report(kind.action, outcome.error, words.what, name, words.code);
}

void PostMainExitIfAsked() {
    if (outcome_.IsTaken()) outcome_.StandAside();
    if (PostMainPendingSignal() == 0) return;
    outcome_.Fail(kDefaultAction, EINTR, [] { PostMainReportSignal(); });
    PostMainExit();
}
