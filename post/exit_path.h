// The end of every run, and the reports that lead there. Which thread takes the exit path, and what becomes of the
// other one, is in outcome.h.
#pragma once
#include "common/util/guarded.h"
#include "post/child.h"
#include "post/outcome.h"

/// Rolls back if the run failed, tells the client the outcome, deletes the backups if it succeeded, and ends the
/// process with PostData::error.
[[noreturn]] void PostMainExit();

/// A failure that the log has words for already: records it and takes the exit path.
[[noreturn]] void PostMainExitFailed(const char* action, int error);

/// The reports of a failure that was recorded (Outcome::Fail): two level lines, the second with its error, and the exit
/// path. An operation that could not be done: "Can't <what> '<name>' in context [<code>]."
[[noreturn]] void PostMainReportFailure(const char* what, const char* name, const char* code)
    QV_GIVES_BACK(outcome_.mutex_);

/// A child that ended badly: "Failure reported by <what> '<name>' in context [<code>]."
[[noreturn]] void PostMainReportChildFailure(const char* what, const char* name, const char* code)
    QV_GIVES_BACK(outcome_.mutex_);

/// The one of the two that says how a child failed.
[[noreturn]] void PostMainReportChild(const ChildKind& kind, const char* name, ChildEnd end)
    QV_GIVES_BACK(outcome_.mutex_);

/// Returns when the child ended well; else records and reports its failure.
void PostMainExitIfFailed(const ChildKind& kind, const char* name, const ChildOutcome& outcome);

/// For the main thread, after each phase and where one waits: returns when the run goes on, that is, when neither the
/// progress thread ends it nor a signal asked for its end.
void PostMainExitIfAsked();
