#include "post/post_data.h"

// Built before the Logger (priority 200) and its mutex, and destroyed after them: a thread may still hold the mutex of
// the record while the process ends.
__attribute__((init_priority(150))) ProgressData progressData_;
PostData postData_;

void PostMainSetStartValues() {
    postData_.client = postData_.server = postData_.updateFile = postData_.version = nullptr;
    postData_.parentPid = -1;
    postData_.serverGiven = 0;
    postData_.startup = 1;
    postData_.interactive = 0;
    postData_.action = postData_.entry = nullptr;
    postData_.error = 0;
}
