// Replaces the files of the update list by renames alone, and rolls them back. Main thread, or the thread that ends the
// run. No function takes the exit path.
#pragma once

/// Applies the update list PostData::updateFile line by line up to the first failure, and records the applied lines in
/// PostData::updates. Deletes the list file in every case. Returns 0, also without a list, or the error code of the
/// run: EINVAL for an invalid line, EINTR when a signal requests the end between two lines, ENOMEM, or errno of the
/// open, the read or the rename. After a failed rename PostData::entry is its destination.
int PostMainReplaceFiles();

/// Renames every file back, in the order of application, and clears the updates. Failures are logged and ignored.
void PostMainRollBack();

/// Frees the texts of PostData except version, flushes the file systems of the destinations and the log, deletes the
/// backups and clears the updates. If the flush fails, the backups are kept. Failures are logged and ignored.
void PostMainFreeUpdates();

/// Deletes the record unless a file could not be restored, deleted or flushed. This is the last step of a run: while
/// the record exists, the client may not have been notified.
void PostMainCommitRecord();
