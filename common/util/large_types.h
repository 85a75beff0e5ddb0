// For headers whose records (stat, timeval, timespec, itimerval) differ with the size of offsets and times. A 32-bit
// system gives these 64 bits only on request; a program compiled without it would pass records that are too short. The
// CMake target and the pkg-config file supply the two definitions.
#pragma once
#include <sys/types.h>

static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8, "compile with -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64");
