#include "common/log/log_direct.h"

#include <pthread.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "common/log/error_is.h"
#include "common/log/log_device.h"
#include "common/util/time_text.h"

// The direct entries serve objects that are built before the Logger.
__attribute__((init_priority(101))) static std::ios_base::Init standardStreams;

namespace {

// Asked for once: the two system calls would be two of a line's three.
std::atomic<int> processId{0};
thread_local int threadId = 0;

// The longest line of the program (two names of the longest kind) fits; static, since a line must not allocate and the
// stream is used until the process is gone.
char lineBuffer[8192];

void ForgetIds() {
    processId.store(0, std::memory_order_relaxed);
    threadId = 0;
}

// Here and not with the Logger: a program may have the prefix without it. What a fork does is in process_create.h.
[[gnu::constructor(101)]] void HandleForks() { pthread_atfork(nullptr, nullptr, ForgetIds); }

void DropPendingText() { __fpurge(stderr); }

// What is inserted into std::clog goes to the C library's stderr, piece by piece, as it does by default.
class StandardError : public std::streambuf {
protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return static_cast<std::streamsize>(fwrite(text, 1, static_cast<size_t>(count), stderr));
    }
    int overflow(int character) override {
        if (character == traits_type::eof()) return sync() == 0 ? traits_type::not_eof(character) : character;
        return putc(character, stderr);
    }
    int sync() override { return fflush(stderr); }
};

char* Number(char* text, int value) {
    text = std::to_chars(text, text + 16, value).ptr;
    *text = ' ';
    return text + 1;
}

}  // namespace

void LogDirectBufferLines() {
    [[maybe_unused]] static const bool done = [] {
        setvbuf(stderr, lineBuffer, _IOLBF, sizeof lineBuffer);
        // Never destroyed: std::clog is flushed when everything else is gone. One that leads elsewhere is left alone.
        static auto& watched = *new LogBuffer<StandardError>;
        if (std::clog.rdbuf() == std::cerr.rdbuf()) std::clog.rdbuf(&watched);
        return pthread_atfork(nullptr, nullptr, DropPendingText) == 0;
    }();
}

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
    const KeptErrno kept;
    char prefix[kLogPrefixSize];
    const int length = LogPrefix(prefix, sizeof prefix);
    return LogBegin(std::clog, prefix, length);
}

std::ostream& LogDirectContinue() {
    const KeptErrno kept;
    return LogFlushed(std::clog);
}

std::ostream& LogDirectError() {
    const KeptErrno kept;
    return LogDirectPrefix() << "Error: ";
}
