// Log entries straight on the standard error, for code that can't use the Logger: they take no lock and ignore its
// mode. Each returns the stream behind the start of a line; the caller inserts the rest and the newline. No entry
// changes errno.
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
/// buffer isn't used. A size below 2 writes nothing. The ids are asked for once a process and once a thread; a child of
/// fork(2) asks anew. A child that _Fork(3) or the bare system call made isn't noticed, and shows its parent's.
int LogPrefix(char* buffer, int size);
