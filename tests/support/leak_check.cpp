// For the sanitizer builds: a child whose program can't be executed leaves through exit, with a copy of the records of
// a thread that it doesn't have. Its leaks are none of its own; its exit status is what counts.
#include "common/log/logger.h"

extern "C" int __lsan_is_turned_off() { return logger_.mode_ == 0 ? 1 : 0; }
