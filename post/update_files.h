// Replacing the files of the update list, and undoing it. Nothing is copied: every step is a rename. Main thread, or
// the thread that owns the exit path. Nothing here knows the exit path: results tell.
#pragma once

/// Applies the update list PostData::updateFile line by line, up to the first that fails; what was applied is recorded
/// in PostData::updates. The list file is deleted in every case. Returns 0, also when there is no list, or the error
/// code that the run fails with: EINVAL for a line that isn't right, EINTR when a signal asked for the end between two
/// lines, else errno of the open, the read or the rename; PostData::entry is then the destination whose rename failed.
int PostMainReplaceFiles();

/// Puts every file back, in the order of application, and forgets the updates. Failures are logged and passed over.
void PostMainRollBack();

/// Releases the texts of the record that only the run needed, client among them, flushes the file systems of the
/// destinations and the log, deletes the backups and forgets the updates. Where the flush fails the backups are kept.
/// Failures are logged and passed over.
void PostMainFreeUpdates();

/// Deletes the record, unless something could not be put into its place, deleted or flushed. The last step of a run: a
/// record that is left shows that the run was cut off, perhaps before the client was notified.
void PostMainSettleRecord();
