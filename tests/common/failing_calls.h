// System calls whose results a test sets, as root and on every machine: the linker redirects the library's calls of the
// names in CMakeLists.txt to failing_calls.cpp.
#pragma once
#include <cstdint>
#include <ctime>
#include <string_view>

#include "tests/support/snapshot.h"

/// During this scope the next call of that name fails with an error number, after so many that pass.
struct Failing {
    Failing(const char* call, int error, int passing = 0) { name = call, number = error, passes = passing; }
    ~Failing() { name = ""; }
    static inline std::string_view name;
    static inline int number, passes;
};

inline size_t mostWritten = SIZE_MAX;                     ///< how many bytes one write(2) takes
inline const char *systemName = "", *systemRelease = "";  ///< what uname(2) answers
inline unsigned microsecondsSlept;                        ///< in usleep(3), which returns at once
inline timespec deadline;                                 ///< the last one that pthread_mutex_timedlock(3) was given
