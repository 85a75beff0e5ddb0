#include "common/log/log_direct.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <iostream>

#include "common/log/error_is.h"
#include "common/log/log_stream.h"
#include "common/util/time_text.h"

// The direct entries serve objects that are built before the Logger.
__attribute__((init_priority(101))) static std::ios_base::Init standardStreams;

namespace {

// Read once: otherwise they would be two of the three system calls of a line.
std::atomic<int> processId{0};
thread_local int threadId = 0;

void ForgetIds() {
    processId.store(0, std::memory_order_relaxed);
    threadId = 0;
}

// Here, since a program may use the prefix without the Logger. process_create.h lists the fork handlers.
[[gnu::constructor(101)]] void HandleForks() { pthread_atfork(nullptr, nullptr, ForgetIds); }

char* Number(char* text, int value) {
    text = std::to_chars(text, text + 16, value).ptr;
    *text = ' ';
    return text + 1;
}

}  // namespace

int LogPrefix(char* buffer, int size) {
    int process = processId.load(std::memory_order_relaxed);
    if (process == 0) processId.store(process = getpid(), std::memory_order_relaxed);
    if (threadId == 0) threadId = gettid();
    struct timeval now;
    gettimeofday(&now, nullptr);

    char text[kLogPrefixSize];
    char* end = TimeClockText(Number(Number(text, process), threadId), &now);
    end += strlen(end);
    *end++ = ' ';
    const auto length = static_cast<int>(end - text);
    if (size >= 2) {
        const int copied = std::min(length, size - 2);
        memcpy(buffer, text, static_cast<size_t>(copied));
        buffer[copied] = '\0';
    }
    return length;
}

std::ostream& LogDirect() { return std::clog; }

std::ostream& LogDirectPrefix() {
    const ErrnoRestorer kept;
    char prefix[kLogPrefixSize];
    LogPrefix(prefix, sizeof prefix);
    return LogBegin(std::clog, prefix);
}

std::ostream& LogDirectContinue() {
    const ErrnoRestorer kept;
    return LogFlushed(std::clog);
}

std::ostream& LogDirectError() {
    const ErrnoRestorer kept;
    return LogWrite(LogDirectPrefix(), "Error: ");
}
