// System calls that do what a test wants, as root and on every machine alike. The linker sends the library's calls of
// the names in CMakeLists.txt to failing_calls.cpp.
#pragma once
#include <cstddef>
#include <ctime>

/// While it lives, calls of that name fail with an error number: as many as are to fail, after as many as are to pass.
struct Failing {
    Failing(const char* call, int error, int passing = 0, int failing = 1);
    ~Failing();
};

extern size_t mostWritten;                      ///< how many bytes one write(2) takes
extern const char *systemName, *systemRelease;  ///< what uname(2) answers
extern unsigned microsecondsSlept;              ///< in usleep(3), which returns at once
extern timespec deadline;                       ///< the last one that pthread_mutex_timedlock(3) was given
