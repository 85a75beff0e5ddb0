#include "post/post_data.h"

// Built before the Logger (priority 200) and its mutex, and destroyed after them: a thread may hold the mutex of the
// record while the process ends.
__attribute__((init_priority(150))) ProgressData progressData_;
PostData postData_;
