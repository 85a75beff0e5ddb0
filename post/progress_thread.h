// Starting the progress client, on a thread of its own that waits for it.
#pragma once

/// Makes the channel and the progress thread, and waits until that thread has tried to start its client: from then on
/// the exit path knows whether there is one, and no other child can inherit the client's end. What can't be made is
/// logged, and the run goes on without progress. Without a client it only says so.
void PostMainStartProgress();

/// The thread's body; the argument isn't used. Returns null when the client ended with status 0, else takes the exit
/// path.
void* PostMainProgressThread(void* argument);
