// Excludes children from the reports of the sanitizers, which would change their exit status.
#include "common/log/logger.h"

// The program of such a child cannot be executed, and the child has records of threads that it lacks.
extern "C" int __lsan_is_turned_off() { return logger_.mode_ == 0 ? 1 : 0; }

// The Logger's mutex was locked at the fork and replaced since, which the sanitizer does not detect.
extern "C" const char* __tsan_default_options() { return "report_destroy_locked=0"; }
