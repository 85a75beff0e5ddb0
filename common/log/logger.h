// The log. An entry returns a stream behind the start of a line; the caller inserts the rest and ends the line with
// "\n":
//
//     Log() << "Socket: ERROR! Can't bind FD#" << fd << ".\n";
//
// Ordinary lines (Log) begin with a time stamp, level lines (Error, Warning, Info, Session) with a word. Both go to the
// standard error unless the application redirects them. No entry reports a failure or changes errno. A null text puts
// the stream into its failed state, as it does with every std::ostream, and all later lines on it are lost: write "nil"
// instead (StringOrNil). A write that fails, and a thread that is cancelled within a line, cost that line alone, where
// the stream is the standard error or a file that the Logger opened: the next entry finds it out and goes on. A stream
// of the caller's own stays as that left it.
//
// Threads: the start of a line is written under Logger::mutex_, the caller's text isn't; texts of two threads can
// interleave. The members that set, open, truncate and reset a destination take no lock: no other thread may start a
// line on that stream meanwhile. A stream that was replaced lives on until the next replacement, writing to the
// standard error, for a thread that still holds it.
#pragma once
#include <ostream>
#include <streambuf>

#include "common/util/mutex.h"

class Logger {
public:
    // The ordinary stream, the level stream and a third one for the application's own use, which is reached through its
    // field alone; behind each the one that it replaced last, or null. While the level stream is another one than
    // std::clog, std::clog writes into its buffer.
    std::ostream* logStream_;
    std::ostream* logRetired_;
    std::ostream* errorStream_;
    std::ostream* errorRetired_;
    std::ostream* auxStream_;
    std::ostream* auxRetired_;

    // The paths of the files behind the three streams that were opened by name, else null. Owned.
    char* logName_;
    char* errorName_;
    char* auxName_;

    std::ostream* nullStream_;      ///< what is written here is lost
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

    /// Closes every file and leaves all streams on std::clog, so that code which logs even later still reaches the
    /// standard error through a Logger of static lifetime.
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

    /// Goes on with the current ordinary line, flushing what there is of it.
    std::ostream& Continue();

    /// Log, then tag (not null) and "/".
    std::ostream& Tagged(const char* tag);

    /// Writes out what waits in the ordinary and in the level stream, and sets both to decimal.
    void Flush();

    /// Makes a stream of the caller's the destination. It must be a heap object that the Logger doesn't hold yet; the
    /// Logger deletes it once it was replaced and its successor too, or at its own end. Null is ignored. SetErrorStream
    /// takes std::clog along and writes a line about it there.
    void SetLogStream(std::ostream* stream);
    void SetErrorStream(std::ostream* stream);
    void SetAuxStream(std::ostream* stream);

    /// Back to std::clog.
    void ResetLogStream();
    void ResetErrorStream();
    void ResetAuxStream();

    /// Appends to the file FileJoinPath(dir, name); a null or empty name changes nothing. A new file has mode 0600
    /// whatever the file-creation mask, which is changed for the moment of the opening, for the whole process. A file
    /// that can't be opened is tried five times, 200 milliseconds apart, and leaves the destination as it was, without
    /// a line: whoever must know compares logStream_ (errorStream_, auxStream_) before and after. OpenErrorFile takes
    /// std::clog along and writes a line about it there in every case.
    void OpenLogFile(const char* dir, const char* name);
    void OpenErrorFile(const char* dir, const char* name);
    void OpenAuxFile(const char* dir, const char* name);

    /// Starts a file that was opened by name again, empty, when its size (taken as a signed 32-bit number of bytes) has
    /// reached limit; a negative limit changes nothing. When it can't be opened again the stream goes to std::clog.
    void TruncateLogFile(int limit);
    void TruncateErrorFile(int limit);
    void TruncateAuxFile(int limit);

    /// Lets go of every stream without writing what waits in it. For a child of fork that is about to end: the text is
    /// its parent's to write.
    void Abandon();

private:
    struct Slot;
    static const Slot kLog, kError, kAux;

    static const Logger* leader_;  // the one that bound std::clog to its level stream last, and lives

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
    std::ostream* OpenFile(std::ios::openmode mode, const char* path) const;
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
