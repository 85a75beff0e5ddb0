// The progress channel: what the run tells the client while it goes on. Each message is a decimal number and a zero
// byte on a connected pair of sockets; nothing is ever read from it.
#pragma once

/// Sends a value, unless there is no client or no channel. A failure is logged and the run goes on.
void PostMainWriteProgress(int value);

/// Whether the client has closed its end: nothing can be told to it any more.
bool PostMainHasClientHungUp();

/// Closes an end of the channel: 0 for the client's, 1 for the application's. Where there is none it does nothing.
void PostMainCloseEnd(int end);

/// Ends the channel: no more is sent, the progress thread is joined (which waits for its client), the application's end
/// is closed. A call on the progress thread itself doesn't wait. Returns 1, or -1 when the join failed.
int PostMainJoinProgress();
