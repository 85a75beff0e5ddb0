// The end of every run, and the reports that lead there. Exactly one thread takes the exit path: the first that records
// a failure or enters it.
//
// The main thread, when it finds the path taken, comes to rest until the process ends, here or at the next boundary
// between its phases. The progress thread, when it finds the path taken, ends, so that the main thread can join it;
// when it takes the path itself it waits until the main thread has come to rest, and so never works on files beneath a
// running child.
#pragma once
#include "post/child.h"

/// Rolls back if the run failed, tells the client the outcome, deletes the backups if it succeeded, and ends the
/// process with PostData::error.
[[noreturn]] void PostMainExit();

/// Records a failure, its action word (null leaves the recorded one) and its error code, and claims the exit path for
/// it. When the other thread has claimed it already, the main thread's failure isn't recorded: the run ends with the
/// first. That of the progress thread is, since the main thread joins it on its way out.
void PostMainRecordFailure(const char* action, int error);

/// An operation that could not be done: records the failure, writes "Can't <what> '<name>' in context [<code>]." and
/// the error, and takes the exit path. Recording and writing are one step, which the other thread can't divide.
[[noreturn]] void PostMainReportFailure(const char* what, const char* name, const char* code, const char* action,
                                        int error);

/// A child that ended badly: "Failure reported by <what> '<name>' in context [<code>]."
[[noreturn]] void PostMainReportChildFailure(const char* what, const char* name, const char* code, const char* action,
                                             int error);

/// The failure of the client that the exit path itself started: rolls back and ends the process.
[[noreturn]] void PostMainClientFailure(const char* what, const char* name, const char* code, const char* action,
                                        int error);

/// Records and reports how a child failed; returns when it didn't.
void PostMainJudgeChild(const ChildKind& kind, const char* name, const ChildOutcome& outcome);

/// Where a dialogue of the operating system will be shown; for now a log line.
void PostMainShowDialog();

/// For the main thread, when all phases are done: claims the exit path before the client learns of it, so that a client
/// that ends badly upon the last message can't have the files rolled back beneath the server that was just started.
void PostMainClaimExit();

/// To be called by the main thread before each phase: it goes no further when the progress thread has taken the exit
/// path, or when a signal asked for the end of the run.
void PostMainBoundary();
