#include "common/util/time_text.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>

#include "common/util/string_owned.h"

namespace {

constexpr int kClockSize = 17;
constexpr int kDateSize = 26;  // ctime_r(3) writes 26 bytes

// The C library converts a time under its own lock. A fork while another thread converts would leave that lock taken in
// the child, whose first log line would wait for ever. Every conversion here holds this lock too, which fork takes
// first: both are then free. process_create.h lists the other fork handlers.
std::mutex zoneMutex;
using ZoneLock = std::lock_guard<std::mutex>;

void LockZone() { zoneMutex.lock(); }
void UnlockZone() { zoneMutex.unlock(); }

[[gnu::constructor(101)]] void HandleForks() { pthread_atfork(LockZone, UnlockZone, UnlockZone); }

struct tm LocalTime(const time_t* time) {
    const ZoneLock lock(zoneMutex);
    struct tm local = {};
    localtime_r(time, &local);
    return local;
}

char* Digits(char* out, int value, int count) {
    for (int i = count; i-- > 0; value /= 10) out[i] = static_cast<char>('0' + value % 10);
    return out + count;
}

// If a system has two such calls, the other one fills a record with a 32-bit time.
#ifdef SYS_clock_gettime64
constexpr long kGetClock = SYS_clock_gettime64;
#else
constexpr long kGetClock = SYS_clock_gettime;
#endif

}  // namespace

char* TimeClockText(char* buffer, const struct timeval* time) {
    const struct tm local = LocalTime(&time->tv_sec);
    const auto microseconds = time->tv_usec;
    if (microseconds < 0 || microseconds > 999'999) {
        snprintf(buffer, kClockSize, "%02d:%02d:%02d %07.3f", local.tm_hour, local.tm_min, local.tm_sec,
                 0.001 * static_cast<double>(microseconds));
        return buffer;
    }
    // Every log line runs this: integers give the text of "%07.3f" at a tenth of its cost.
    char* end = Digits(buffer, local.tm_hour, 2);
    *end++ = ':';
    end = Digits(end, local.tm_min, 2);
    *end++ = ':';
    end = Digits(end, local.tm_sec, 2);
    *end++ = ' ';
    end = Digits(end, static_cast<int>(microseconds / 1000), 3);
    *end++ = '.';
    *Digits(end, static_cast<int>(microseconds % 1000), 3) = '\0';
    return buffer;
}

void TimeSetClockText(char** dst, const struct timeval* time) {
    StringReset(dst);
    StringAllocate(dst, kClockSize);
    TimeClockText(*dst, time);
}

char* TimeDateText(char* buffer, const time_t* time) {
    const ZoneLock lock(zoneMutex);
    if (ctime_r(time, buffer) == nullptr) *buffer = '\0';  // a year that has no four digits
    buffer[24] = '\0';
    return buffer;
}

void TimeSetDateText(char** dst, const time_t* time) {
    StringReset(dst);
    StringAllocate(dst, kDateSize);
    TimeDateText(*dst, time);
}

int TimeGetClock(int clock, struct timespec* now) {
    if (clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int>(syscall(kGetClock, clock, now));
}
