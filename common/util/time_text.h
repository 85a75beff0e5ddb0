// Clock texts in the local time zone, and clock readings. Any thread may call, and a child of fork(2). errno is
// undefined after a text (the first may load the time zone). A time whose calendar year exceeds an int has no
// meaningful text.
#pragma once
#include <sys/time.h>
#include <time.h>

#include "common/util/large_types.h"

/// Writes the local time of day as "HH:MM:SS mmm.mmm" (the last field is milliseconds with three decimals) into buffer,
/// which must hold 17 bytes; returns buffer. Microseconds outside 0 to 999,999 give a text that is cut at 16
/// characters.
char* TimeClockText(char* buffer, const struct timeval* time);

/// Replaces the owned string *dst (string_owned.h) by a new[] block of 17 bytes with that text.
void TimeSetClockText(char** dst, const struct timeval* time);

/// Writes the 24 characters of ctime_r(3) without its newline into buffer, which must hold 26 bytes; returns buffer. A
/// year of more than four digits gives the empty text.
char* TimeDateText(char* buffer, const time_t* time);

/// Replaces the owned string *dst by a new[] block of 26 bytes with that text.
void TimeSetDateText(char** dst, const time_t* time);

/// Reads clock 0 (CLOCK_REALTIME) or 1 (CLOCK_MONOTONIC) by the system call clock_gettime(2) instead of the C library.
/// Returns 0, or silently -1 with errno: EINVAL for any other clock, *now unchanged, or the kernel's number.
int TimeGetClock(int clock, struct timespec* now);
