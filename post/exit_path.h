// The end of every run, and the reports that lead there. Which thread takes the exit path, and what the other one does,
// is in outcome.h.
#pragma once
#include "post/child.h"

/// Rolls back if the run failed, notifies the client of the outcome, deletes the backups if it succeeded, and ends the
/// process with PostData::error.
[[noreturn]] void PostMainExit();

/// Records a failure that the log has words for already, and takes the exit path. A null action leaves that of the
/// record.
[[noreturn]] void PostMainExitFailed(const char* action, int error);

/// Records a failure, writes its report and takes the exit path. An operation that could not be done: "Can't <what>
/// '<name>' in context [<code>]."
[[noreturn]] void PostMainReportFailure(const char* action, int error, const char* what, const char* name,
                                        const char* code);

/// A child that ended badly: "Failure reported by <what> '<name>' in context [<code>]."
[[noreturn]] void PostMainReportChildFailure(const char* action, int error, const char* what, const char* name,
                                             const char* code);

/// Returns when the child ended well; else reports its failure.
void PostMainExitIfFailed(const ChildKind& kind, const char* name, const ChildOutcome& outcome);

/// For the main thread, after each phase and in each wait: returns when the run continues, that is, when neither the
/// progress thread ends it nor a signal has requested its end.
void PostMainExitIfAsked();
