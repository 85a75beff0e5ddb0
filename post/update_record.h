// The record that qvpost-list keeps beside the list of an update, to recover an interrupted run. Main thread, or the
// thread that ends the run. Nothing here logs.
#pragma once

/// Opens the record of PostData::updateFile, if it exists, and holds a shared lock (flock(2)) on it until the process
/// ends. Meanwhile no other program recovers the update or creates one. Such a program that is at work is waited for,
/// at most five seconds and until a signal requests the end of the run; then the run goes on without the record.
void PostMainHoldRecord();

/// Whether the record is held.
bool PostMainHasRecord();

/// Deletes the record that is held, unless its name now belongs to another file.
void PostMainRemoveRecord();
