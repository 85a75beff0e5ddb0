// Log entries on the standard error for code that cannot use the Logger: they take no lock and ignore its mode. Each
// returns the stream after the start of a line; the caller inserts the rest and the newline. No entry changes errno.
#pragma once
#include <ostream>

/// std::clog, nothing written.
std::ostream& LogDirect();

/// std::clog after a flush and the time-stamp prefix.
std::ostream& LogDirectPrefix();

/// std::clog after a flush.
std::ostream& LogDirectContinue();

/// std::clog after a flush, the prefix and "Error: ".
std::ostream& LogDirectError();

/// The size of a buffer that holds every prefix.
constexpr int kLogPrefixSize = 128;

/// Builds the time-stamp prefix "<process id> <kernel thread id> <time> " (TimeClockText of the present) into buffer
/// and returns its length as snprintf(3) does. At most size - 2 characters and a NUL are written: the last byte of the
/// buffer is not used. A size below 2 writes nothing. The ids are read once a process and once a thread, and anew in a
/// child of fork(2). A child that _Fork(3) or the bare system call made shows the ids of its parent.
int LogPrefix(char* buffer, int size);
