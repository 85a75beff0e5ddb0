// The end of every run, and the reports that lead there. outcome.h decides which thread takes the exit path.
#pragma once
#include "post/child.h"

/// Rolls back if the run failed, notifies the client of the outcome, deletes the backups if it succeeded, and ends the
/// process with PostData::error.
[[noreturn]] void PostMainExit();

/// Records a failure that is already logged and takes the exit path. A null action leaves PostData::action unchanged.
[[noreturn]] void PostMainExitFailed(const char* action, int error);

/// Records and reports a failed operation and takes the exit path: "Can't <what> '<name>' in context [<code>]."
[[noreturn]] void PostMainReportFailure(const char* action, int error, const char* what, const char* name,
                                        const char* code);

/// Records and reports a failed child likewise: "Failure reported by <what> '<name>' in context [<code>]."
[[noreturn]] void PostMainReportChildFailure(const char* action, int error, const char* what, const char* name,
                                             const char* code);

/// Returns when the child succeeded; otherwise reports its failure and takes the exit path.
void PostMainExitIfFailed(const ChildKind& kind, const char* name, const ChildOutcome& outcome);

/// For the main thread, after each phase and in each wait. Returns unless the progress thread ends the run or a signal
/// has requested its end.
void PostMainExitIfAsked();
