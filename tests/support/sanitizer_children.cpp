// For the sanitizer builds: what a child that leaves through exit must not be blamed for. Its exit status is what
// counts.
#include "common/log/logger.h"

// Its program can't be executed, and it has a copy of the records of threads that it doesn't have.
extern "C" int __lsan_is_turned_off() { return logger_.mode_ == 0 ? 1 : 0; }

// The Logger's mutex was locked when it was forked and was replaced since, which the sanitizer doesn't see.
extern "C" const char* __tsan_default_options() { return "report_destroy_locked=0"; }
