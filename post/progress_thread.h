// Starting the progress client, on a thread of its own that waits for it.
#pragma once

/// Makes the channel and the progress thread, and waits until its client's program is executed, or that has failed and
/// the failure is recorded: from then on the exit path knows whether there is a client, and no other child can inherit
/// its end. What can't be made is logged, and the run goes on without progress. Without a client it only says so.
void PostMainStartProgress();

/// When the progress client has closed its end of the channel, waits for its end, until a failure of it is recorded: it
/// may have closed its end because it failed. Returns at once otherwise.
void PostMainHearClient();

/// The thread's body; the argument isn't used. Returns null when the client ended with status 0, else takes the exit
/// path.
void* PostMainProgressThread(void* argument);
