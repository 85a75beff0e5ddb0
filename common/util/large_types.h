// For the headers whose records (stat, timeval, timespec, itimerval) differ with the size of offsets and times: on a
// system of 32 bits these have 64 only where that is asked for. A program that is compiled otherwise than the library
// would hand it records that are too short; the CMake target and the pkg-config file bring the two definitions along.
#pragma once
#include <sys/types.h>

static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8, "compile with -D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64");
