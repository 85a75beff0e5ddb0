#include "common/log/logger.h"

#include <pthread.h>

#include <atomic>
#include <fstream>
#include <iostream>

#include "common/log/error_is.h"
#include "common/log/log_direct.h"
#include "common/log/log_stream.h"
#include "common/util/cancel_block.h"

namespace {

// Static objects log before Logger::mutex_ is built and after it was destroyed, when nothing may touch it. A constant
// initialised flag can be read at any time.
std::atomic<bool> mutexLives{false};

void LockIfAlive() NO_THREAD_SAFETY_ANALYSIS {
    if (mutexLives.load(std::memory_order_relaxed)) Logger::mutex_.Lock();
}

void UnlockIfAlive() NO_THREAD_SAFETY_ANALYSIS {
    if (mutexLives.load(std::memory_order_relaxed)) Logger::mutex_.Unlock();
}

class LogLock {
public:
    explicit LogLock(bool wanted = true) : wanted_(wanted) {
        if (wanted_) LockIfAlive();
    }
    ~LogLock() {
        if (wanted_) UnlockIfAlive();
    }
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;

private:
    const bool wanted_;
};

// fork takes the mutex: another thread that holds it would not exist in the child, which would wait for it for ever. A
// cancelled thread must not leave fork with the mutex.
void BeforeFork() {
    LockIfAlive();
    const CancelBlock block;
    logger_.FlushAll();
}

// The parent writes what another thread has inserted since the flush. A recursive mutex cannot be unlocked in the
// child, where the thread has another id; it gets a new one.
void InChild() {
    for (const std::ostream* out : {logger_.logStream_, logger_.errorStream_, logger_.auxStream_}) {
        if (auto* const file = dynamic_cast<FileBuffer*>(out->rdbuf())) file->DropPendingText();
    }
    __fpurge(stderr);
    if (mutexLives.load(std::memory_order_relaxed)) Logger::mutex_.Reset();
}

// process_create.h lists the other fork handlers.
struct MutexLife {
    MutexLife() {
        mutexLives = true;
        pthread_atfork(BeforeFork, UnlockIfAlive, InChild);
    }
    ~MutexLife() { mutexLives = false; }
};

// Written only where it differs: another thread may be inserting its text, which reads the flags.
void SetDecimal(std::ostream& out) {
    if ((out.flags() & std::ios::basefield) != std::ios::dec) out.setf(std::ios::dec, std::ios::basefield);
}

}  // namespace

// Objects of one file and one priority are built in this order and destroyed in reverse. Priorities up to 199 are left
// to what must be built before the Logger.
#define LOGGER_ORDER __attribute__((init_priority(200)))
Logger logger_ LOGGER_ORDER;
Mutex Logger::mutex_ LOGGER_ORDER;
static MutexLife mutexLife LOGGER_ORDER;

Logger::Logger()
    : logStream_(&std::clog),
      logRetired_(nullptr),
      errorStream_(&std::clog),
      errorRetired_(nullptr),
      auxStream_(&std::clog),
      auxRetired_(nullptr),
      logName_(nullptr),
      errorName_(nullptr),
      auxName_(nullptr),
      nullStream_(new std::ofstream),
      stderrBuffer_(StandardErrorBuffer()),
      redirect_(0),
      mode_(1),
      showTags_(1),
      buffered_(1),
      locked_(1) {}

const Logger* Logger::leader_ = nullptr;

// While a Logger has bound std::clog to its own stream, the buffer of that stream is not the standard error's.
std::streambuf* Logger::StandardErrorBuffer() {
    [[maybe_unused]] static const bool done = [] {
        static char line[8192];  // holds the longest line of the program, with two of the longest paths
        setvbuf(stderr, line, _IOLBF, sizeof line);
        // Never destroyed: std::clog is used until the process ends. A redirected std::clog is left alone.
        if (std::clog.rdbuf() == std::cerr.rdbuf()) std::clog.rdbuf(new FileBuffer(stderr));
        return true;
    }();
    const bool bound = leader_ != nullptr && leader_->LeadsStandardError(kError);
    return bound ? leader_->stderrBuffer_ : std::clog.rdbuf();
}

std::ostream& Logger::Log() {
    if (mode_ == 0) return *nullStream_;
    const ErrnoRestorer error;
    char prefix[kLogPrefixSize];
    LogPrefix(prefix, sizeof prefix);  // before the lock: the time excludes the wait
    const LogLock lock(locked_ == 1);
    std::ostream& out = LogBegin(Chosen(), prefix);
    SetDecimal(out);
    return out;
}

std::ostream& Logger::Level(const char* word) {
    if (mode_ == 0) return *nullStream_;
    const ErrnoRestorer error;
    const LogLock lock;
    return LogBegin(*errorStream_, word);
}

std::ostream& Logger::Session() { return Level("Session: "); }

std::ostream& Logger::Error() { return Level("Error: "); }

std::ostream& Logger::Warning() { return Level("Warning: "); }

std::ostream& Logger::Info() { return Level("Info: "); }

std::ostream& Logger::Plain() { return Level(""); }

std::ostream& Logger::Continue() {
    if (mode_ == 0) return *nullStream_;
    const ErrnoRestorer error;
    const LogLock lock;
    return LogFlushed(Chosen());
}

std::ostream& Logger::Tagged(const char* tag) {
    const ErrnoRestorer error;
    std::ostream& out = Log();
    return showTags_ != 0 ? LogWrite(out, tag, "/") : out;
}

void Logger::Flush() {
    const ErrnoRestorer error;
    const LogLock lock;
    for (std::ostream* out : {&Chosen(), errorStream_}) {
        SetDecimal(*out);
        LogFlushed(*out);
    }
}

void Logger::FlushAll() {
    const ErrnoRestorer error;
    const LogLock lock;
    for (std::ostream* out : {logStream_, errorStream_, auxStream_}) LogFlushed(*out);
}

std::ostream& Log() { return logger_.Log(); }

std::ostream& LogSession() { return logger_.Session(); }

std::ostream& LogError() { return logger_.Error(); }

std::ostream& LogWarning() { return logger_.Warning(); }

std::ostream& LogInfo() { return logger_.Info(); }

std::ostream& LogPlain() { return logger_.Plain(); }

std::ostream& LogContinue() { return logger_.Continue(); }

void LogFlush() { logger_.Flush(); }
