// The members of Logger that replace its streams, and its destructor.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <utility>

#include "common/log/log_stream.h"
#include "common/log/logger.h"
#include "common/util/path_text.h"
#include "common/util/string_owned.h"

namespace {

class LogFile : public std::ostream {
public:
    explicit LogFile(FILE* file) : std::ostream(nullptr), buffer_(file) { rdbuf(&buffer_); }

private:
    FileBuffer buffer_;
};

}  // namespace

struct Logger::Slot {
    std::ostream* Logger::*stream;
    std::ostream* Logger::*retired;
    char* Logger::*name;
    bool gated;  // redirect_ decides whether it may be replaced
};

const Logger::Slot Logger::kLog{&Logger::logStream_, &Logger::logRetired_, &Logger::logName_, true};
const Logger::Slot Logger::kError{&Logger::errorStream_, &Logger::errorRetired_, &Logger::errorName_, true};
const Logger::Slot Logger::kAux{&Logger::auxStream_, &Logger::auxRetired_, &Logger::auxName_, false};

// Whether std::clog writes into the buffer of this stream, as it does once the level stream was redirected.
bool Logger::LeadsStandardError(const Slot& slot) const {
    const std::ostream* stream = this->*slot.stream;
    return &slot == &kError && stream != &std::clog && std::clog.rdbuf() == stream->rdbuf();
}

void Logger::LeadStandardError() {
    std::clog.rdbuf(errorStream_ == &std::clog ? stderrBuffer_ : errorStream_->rdbuf());
    leader_ = this;
}

// All changes of a slot are made here. std::clog follows the level stream, so that it never writes into the buffer of a
// stream that is deleted later.
void Logger::Put(const Slot& slot, std::ostream* stream) {
    std::ostream* const old = this->*slot.stream;
    const bool leads = LeadsStandardError(slot);
    this->*slot.stream = stream;
    if (leads) LeadStandardError();
    if (old == &std::clog || old == stream) return;
    delete std::exchange(this->*slot.retired, old);
    old->exceptions(std::ios::goodbit);  // the next two must not throw
    old->flush();
    old->rdbuf(stderrBuffer_);
}

void Logger::Set(const Slot& slot, std::ostream* stream) {
    if (stream == nullptr || (slot.gated && redirect_ == 0)) return;
    Put(slot, stream);
    StringReset(&(this->*slot.name));
}

void Logger::Reset(const Slot& slot) {
    if (&slot == &kError && errorName_ != nullptr) std::clog.rdbuf(stderrBuffer_);
    Put(slot, &std::clog);
    StringReset(&(this->*slot.name));
}

void Logger::Open(const Slot& slot, const char* dir, const char* name) {
    if (slot.gated && redirect_ == 0) return;
    char* path = FileJoinPath(dir, name);
    std::ostream* stream = path != nullptr ? OpenFile("ae", path) : nullptr;
    if (stream == nullptr) {
        StringReset(&path);
        return;
    }
    Set(slot, stream);
    this->*slot.name = path;
}

void Logger::Truncate(const Slot& slot, int limit) {
    const char* name = this->*slot.name;
    struct stat record;
    if (name == nullptr || limit < 0 || stat(name, &record) != 0) return;
    if (static_cast<int>(record.st_size) < limit) return;

    const bool leads = LeadsStandardError(slot);
    Put(slot, &std::clog);
    std::ostream* stream = OpenFile("we", name);
    if (stream == nullptr) {
        StringReset(&(this->*slot.name));
        return;
    }
    Put(slot, stream);
    if (leads) LeadStandardError();
}

std::ostream* Logger::OpenFile(const char* mode, const char* path) const {
    constexpr int kAttempts = 5;
    constexpr useconds_t kPause = 200'000;  // microseconds
    const mode_t mask = umask(077);
    FILE* file = nullptr;
    for (int attempt = 0; attempt < kAttempts && file == nullptr; ++attempt) {
        file = fopen(path, mode);
        if (file == nullptr) usleep(kPause);
    }
    umask(mask);
    if (file == nullptr) return nullptr;
    setvbuf(file, nullptr, buffered_ != 0 ? _IOFBF : _IONBF, BUFSIZ);  // now, so that entries allocate nothing
    return new LogFile(file);
}

void Logger::SetLogStream(std::ostream* stream) { Set(kLog, stream); }

void Logger::SetErrorStream(std::ostream* stream) {
    if (stream == nullptr || redirect_ == 0) return;
    Set(kError, stream);
    LeadStandardError();
    LogWrite(std::clog, "Logger: Redirected the standard error to the stream.\n");
}

void Logger::SetAuxStream(std::ostream* stream) { Set(kAux, stream); }

void Logger::ResetLogStream() { Reset(kLog); }

void Logger::ResetErrorStream() { Reset(kError); }

void Logger::ResetAuxStream() { Reset(kAux); }

void Logger::OpenLogFile(const char* dir, const char* name) { Open(kLog, dir, name); }

void Logger::OpenErrorFile(const char* dir, const char* name) {
    if (redirect_ == 0) return;
    Open(kError, dir, name);
    if (errorName_ != nullptr) LeadStandardError();
    LogWrite(std::clog, "Logger: Redirected the standard error to '", StringOrNil(errorName_), "'.\n");
}

void Logger::OpenAuxFile(const char* dir, const char* name) { Open(kAux, dir, name); }

void Logger::TruncateLogFile(int limit) { Truncate(kLog, limit); }

void Logger::TruncateErrorFile(int limit) { Truncate(kError, limit); }

void Logger::TruncateAuxFile(int limit) { Truncate(kAux, limit); }

Logger::~Logger() {
    for (const Slot* slot : {&kLog, &kError, &kAux}) Reset(*slot);
    for (const Slot* slot : {&kLog, &kError, &kAux}) delete std::exchange(this->*slot->retired, nullptr);
    if (leader_ == this) leader_ = nullptr;  // the reset above may have set it to this Logger again
    delete std::exchange(nullStream_, &std::clog);
    // Lines are logged through the Logger even after this. The asm keeps the stores above, which the compiler may drop
    // as dead since the object ends here.
    asm volatile("" : : "r"(this) : "memory");
}
