// The log. An entry returns a stream behind the start of a line; the caller inserts the rest and ends the line with
// "\n":
//
//     Log() << "Socket: ERROR! Can't bind FD#" << fd << ".\n";
//
// Ordinary lines (Log) begin with a time stamp, level lines (Error, Warning, Info, Session) with a word. Both go to the
// standard error unless the application redirects them. No entry reports a failure, throws or changes errno. A stream
// in the failed state swallows the text of every later line until its owner clears it. A null text
// (write StringOrNil instead), a write that fails and the cancellation of a thread in the middle of a line put it into
// that state; the standard error only loses the line whose last write fails.
//
// Linking this makes the standard error line-buffered: a prompt without a newline waits until it is flushed.
// std::ios::sync_with_stdio(false) gives std::clog a buffer of its own, which is neither line-buffered nor locked.
//
// Threads: the start of a line is written under Logger::mutex_, the caller's text is not. Texts of two threads can
// interleave; on the standard error and on files that the Logger opened no byte is lost. A thread must not be cancelled
// in the middle of a line on a shared stream. The members that set, open, truncate and reset a destination take no
// lock: meanwhile no other thread may start a line on that stream or fork. A replaced stream lives until the next
// replacement and writes to the standard error, for a thread that still holds it. While a Logger is destroyed, no other
// thread may log through it; logger_ is destroyed by exit(3).
#pragma once
#include <ostream>
#include <streambuf>

#include "common/util/mutex.h"

class Logger {
public:
    // The ordinary stream, the level stream and a third one for the application, which is accessible through its field
    // alone. After each comes the stream that it replaced last, or null. While the level stream is not std::clog,
    // std::clog writes into its buffer.
    std::ostream* logStream_;
    std::ostream* logRetired_;
    std::ostream* errorStream_;
    std::ostream* errorRetired_;
    std::ostream* auxStream_;
    std::ostream* auxRetired_;

    // The paths of the files that were opened by name for the three streams, else null. Owned.
    char* logName_;
    char* errorName_;
    char* auxName_;

    std::ostream* nullStream_;      ///< discards all text
    std::streambuf* stderrBuffer_;  ///< the standard error's own buffer, when the Logger was built

    /// 0 at first: SetLogStream, SetErrorStream, OpenLogFile and OpenErrorFile do nothing until the application sets
    /// this field to 1.
    int redirect_;
    int mode_;      ///< 0 off, 1 (at first) full, any other value level lines only
    int showTags_;  ///< 1 at first; 0 makes Tagged leave its tag out
    int buffered_;  ///< 1 at first; 0 makes files that are opened from then on unbuffered
    int locked_;    ///< 1 at first; with any other value Log takes no lock
    static Mutex mutex_;

    /// All three streams on the standard error, which the first Logger makes line-buffered.
    Logger();

    /// Closes every file and leaves all streams on std::clog: code that logs even later through a Logger of static
    /// lifetime still reaches the standard error.
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// An ordinary line: flushes the stream, writes the prefix (LogPrefix) and sets the stream's number base to
    /// decimal.
    std::ostream& Log();

    /// Level lines: flush the stream and write "Session: ", "Error: ", "Warning: ", "Info: " or, for Plain, nothing.
    /// The number base stays as a caller left it.
    std::ostream& Session();
    std::ostream& Error();
    std::ostream& Warning();
    std::ostream& Info();
    std::ostream& Plain();

    /// Flushes the current ordinary line, for the caller to continue it.
    std::ostream& Continue();

    /// Log, then tag (not null) and "/".
    std::ostream& Tagged(const char* tag);

    /// Sets to decimal and flushes the stream that Log returns (the ordinary one only where mode_ is 1) and the level
    /// stream.
    void Flush();

    /// Flushes all three streams, whatever mode_ is.
    void FlushAll();

    /// Makes a stream of the caller's the destination. It must be a heap object that the Logger does not hold yet. The
    /// Logger deletes it when its successor is replaced, or at its own end. Its exceptions() stay until it is replaced;
    /// then only the caller's insertions throw. Null is ignored. SetErrorStream binds std::clog to the stream's buffer
    /// and writes a line about it there.
    void SetLogStream(std::ostream* stream);
    void SetErrorStream(std::ostream* stream);
    void SetAuxStream(std::ostream* stream);

    /// Back to std::clog.
    void ResetLogStream();
    void ResetErrorStream();
    void ResetAuxStream();

    /// Appends to the file FileJoinPath(dir, name), which no executed program inherits; a null or empty name changes
    /// nothing. A new file has mode 0600: the file-creation mask of the whole process is 077 meanwhile. Opening is
    /// tried five times in one second. If all fail, the destination stays and no line is written; to detect this,
    /// compare logStream_ (errorStream_, auxStream_) before and after. OpenErrorFile binds std::clog to the file and
    /// writes a line there in every case.
    void OpenLogFile(const char* dir, const char* name);
    void OpenErrorFile(const char* dir, const char* name);
    void OpenAuxFile(const char* dir, const char* name);

    /// Opens the file again, empty, when it was opened by name and its size (taken as a signed 32-bit number of bytes)
    /// has reached limit; a negative limit changes nothing. The mask is as above. When the file cannot be opened, the
    /// stream goes to std::clog and its name is forgotten. Do not truncate a file that two streams share: the new
    /// stream does not append, and the two overwrite each other's lines.
    void TruncateLogFile(int limit);
    void TruncateErrorFile(int limit);
    void TruncateAuxFile(int limit);

private:
    struct Slot;
    static const Slot kLog, kError, kAux;

    static const Logger* leader_;  // the living one that bound std::clog to its level stream last

    static std::streambuf* StandardErrorBuffer();
    std::ostream& Chosen() const { return mode_ == 1 ? *logStream_ : *nullStream_; }
    std::ostream& Level(const char* word);
    void LeadStandardError();
    bool LeadsStandardError(const Slot& slot) const;
    void Put(const Slot& slot, std::ostream* stream);
    void Set(const Slot& slot, std::ostream* stream);
    void Reset(const Slot& slot);
    void Open(const Slot& slot, const char* dir, const char* name);
    void Truncate(const Slot& slot, int limit);
    std::ostream* OpenFile(const char* mode, const char* path) const;
};

/// The one Logger of the program, built before main and before every object of ordinary static lifetime.
extern Logger logger_;

/// The same entries on logger_.
std::ostream& Log();
std::ostream& LogSession();
std::ostream& LogError();
std::ostream& LogWarning();
std::ostream& LogInfo();
std::ostream& LogPlain();
std::ostream& LogContinue();
void LogFlush();
