// Starting the progress client, on a thread of its own that waits for it.
#pragma once

/// Makes the channel and the progress thread, and returns once its client's program is executed. The exit path knows
/// from then on whether there is a client, and no other child can inherit its end. A client that is known not to be
/// executed ends the run. What cannot be made is logged, and the run continues without progress. Without a client it
/// only logs that.
void PostMainStartProgress();

/// When the progress client has closed its end of the channel, waits for its end, at most one second and until a signal
/// requests the end of the run: it may have closed its end because it failed, which then ends the run.
void PostMainWaitIfClientHungUp();

/// The thread's body; the argument is not used. Returns null when the client ended with status 0, else takes the exit
/// path.
void* PostMainProgressThread(void* argument);
