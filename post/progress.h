// The progress channel carries values from the run to the client on a connected pair of sockets. Each message is a
// decimal number and a zero byte. The application never reads from the channel.
#pragma once

/// Sends a value, unless there is no client or no channel. A failure is logged and the run continues.
void PostMainWriteProgress(int value);

/// Returns whether the client has closed its end of the channel and can receive nothing more.
bool PostMainHasClientHungUp();

/// Closes an end of the channel: 0 for the client's, 1 for the application's. Does nothing without a channel.
void PostMainCloseEnd(int end);

/// Shuts the channel down, joins the progress thread, which waits for its client, and closes the application's end. On
/// the progress thread itself it skips the join. Returns 1, or -1 when the join failed.
int PostMainJoinProgress();
