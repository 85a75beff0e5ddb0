// The record that qvpost-list keeps of an update, beside its list: it lets a run that was cut off be recovered. Main
// thread, or the thread that owns the exit path. Nothing here logs; a run without a record does the same.
#pragma once

/// Opens the record of PostData::updateFile, when there is one, and takes a shared lock (flock(2)) on it that lasts as
/// long as the process, so that nobody recovers or makes an update beneath the run.
void PostMainHoldRecord();

/// Whether the record is held.
bool PostMainHasRecord();

/// Deletes the record that is held, unless its name is another file's by now.
void PostMainRemoveRecord();
