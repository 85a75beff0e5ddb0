// Whether qvpost is at work.
#pragma once
#include <string>

/// The process id of a qvpost whose command line names this list, or 0. It looks at the processes that may be looked
/// at: one of another user, or one that has another name than qvpost, isn't found.
int RunningQvpost(const std::string& list);
