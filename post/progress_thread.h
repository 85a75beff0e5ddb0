// Starts the progress client on a thread that waits for it.
#pragma once

/// Creates the channel and the progress thread, and returns once the client's program is executed. From then on the
/// exit path can read whether a client was started, and no other child inherits its end. A client that cannot be
/// executed ends the run. A channel or thread that cannot be created is logged, and the run continues without progress.
/// Without a client this only logs a line.
void PostMainStartProgress();

/// If the progress client has closed its end of the channel, waits until it ends, for at most one second or until a
/// signal requests the end of the run. A client that has failed by then ends the run.
void PostMainWaitIfClientHungUp();

/// The thread's body; the argument is not used. Returns null when the client ended with status 0, else takes the exit
/// path.
void* PostMainProgressThread(void* argument);
