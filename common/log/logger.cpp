#include "common/log/logger.h"

#include <pthread.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <iostream>

#include "common/log/error_is.h"
#include "common/log/log_device.h"
#include "common/log/log_direct.h"

namespace {

// Static objects log before Logger::mutex_ is built and after it was destroyed, when nothing may touch it. A constant
// initialised flag can be asked at any time.
std::atomic<bool> mutexLives{false};

void LockIfAlive() QV_UNCHECKED {
    if (mutexLives.load(std::memory_order_relaxed)) Logger::mutex_.Lock();
}

void UnlockIfAlive() QV_UNCHECKED {
    if (mutexLives.load(std::memory_order_relaxed)) Logger::mutex_.Unlock();
}

void ResetIfAlive() {
    if (mutexLives.load(std::memory_order_relaxed)) Logger::mutex_.Reset();
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

// No process is copied while another thread holds the mutex, for that thread isn't in the copy: the child would wait
// for it for ever. A recursive mutex can't be unlocked in the child, where the thread has another id; it gets a new
// one. What else a fork does is in process_create.h.
struct MutexLife {
    MutexLife() {
        mutexLives = true;
        pthread_atfork(LockIfAlive, UnlockIfAlive, ResetIfAlive);
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

// While a Logger has bound std::clog to a stream of its own, the buffer of that stream is no place to go back to.
std::streambuf* Logger::StandardErrorBuffer() {
    LogDirectBufferLines();
    const bool bound = leader_ != nullptr && leader_->LeadsStandardError(kError);
    return bound ? leader_->stderrBuffer_ : std::clog.rdbuf();
}

std::ostream& Logger::Log() {
    if (mode_ != 1) return *nullStream_;
    const KeptErrno kept;
    char prefix[kLogPrefixSize];
    const int length = LogPrefix(prefix, sizeof prefix);  // before the lock: the time is not that of a wait's end
    const LogLock lock(locked_ == 1);
    std::ostream& out = LogBegin(*logStream_, prefix, length);
    SetDecimal(out);
    return out;
}

std::ostream& Logger::Level(const char* word) {
    if (mode_ == 0) return *nullStream_;
    const KeptErrno kept;
    const LogLock lock;
    return LogBegin(*errorStream_, word, static_cast<std::streamsize>(strlen(word)));
}

std::ostream& Logger::Session() { return Level("Session: "); }

std::ostream& Logger::Error() { return Level("Error: "); }

std::ostream& Logger::Warning() { return Level("Warning: "); }

std::ostream& Logger::Info() { return Level("Info: "); }

std::ostream& Logger::Plain() { return Level(""); }

std::ostream& Logger::Continue() {
    const KeptErrno kept;
    const LogLock lock;
    return LogFlushed(Chosen());
}

std::ostream& Logger::Tagged(const char* tag) {
    std::ostream& out = Log();
    if (showTags_ != 0) out << tag << "/";
    return out;
}

void Logger::Flush() {
    const KeptErrno kept;
    const LogLock lock;
    for (std::ostream* out : {&Chosen(), errorStream_}) {
        SetDecimal(*out);
        LogFlushed(*out);
    }
}

std::ostream& Log() { return logger_.Log(); }

std::ostream& LogSession() { return logger_.Session(); }

std::ostream& LogError() { return logger_.Error(); }

std::ostream& LogWarning() { return logger_.Warning(); }

std::ostream& LogInfo() { return logger_.Info(); }

std::ostream& LogPlain() { return logger_.Plain(); }

std::ostream& LogContinue() { return logger_.Continue(); }

void LogFlush() { logger_.Flush(); }
