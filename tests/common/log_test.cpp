#include <iomanip>
#include <iostream>
#include <thread>

#include "common/io/file.h"
#include "common/log/error_name.h"
#include "common/log/log_direct.h"
#include "common/log/logger.h"
#include "common/log/report.h"
#include "common/process/process_create.h"
#include "post/run_log.h"
#include "tests/common/failing_calls.h"

constexpr std::ostream& (*kEntries[])() = {Log,     LogContinue, LogSession,      LogError,       LogWarning,
                                           LogInfo, LogPlain,    LogDirectPrefix, LogDirectError, LogDirectContinue};

static void WriteThroughAll() {
    for (const auto entry : kEntries) entry() << "text\n";
}

TEST(Logger, ModeChoosesTheLines) {
    SHOW(WriteThroughAll());  // = | @ text | text | Session: text | Error: text | Warning: text | Info: text | text
    // | @ text | @ Error: text | text
    SHOW(LogError() << "x", __fbufsize(stderr), __flbf(stderr) != 0);  // = 8192 1 | Error: x
    logger_.mode_ = 2;
    SHOW(WriteThroughAll());  // = | Session: text | Error: text | Warning: text | Info: text | text | @ text
    // | @ Error: text | text
    logger_.mode_ = 0;
    SHOW(WriteThroughAll());  // = | @ text | @ Error: text | text
    logger_.nullStream_->clear();
    SHOW(Log(), logger_.nullStream_->good());                       // = 1
    SHOW((logger_.mode_ = 2, Log()), logger_.nullStream_->good());  // = 0
}

TEST(Logger, LinesBeginAsIfNothingWasLeftBehindButAFailure) {
    SHOW(Log() << std::hex << 10 << std::setw(9));                     // = | @ a
    SHOW(Log() << 10 << "\n");                                         // = | @ 10
    SHOW(LogError() << std::hex << 10 << std::setw(9) << std::flush);  // = | Error: a
    SHOW(LogPlain() << 10 << "\n");                                    // = | a
    SHOW((LogFlush(), LogError() << 10 << "\n"));                      // = | Error: 10
    SHOW(logger_.Tagged("tag") << 10 << "\n");                         // = | @ tag/10
    SHOW(Log() << "null" << static_cast<const char*>(nullptr));        // = | @ null
    SHOW(WriteThroughAll());                                           // =
    SHOW(static_cast<void>(Line() << "written\n"));                    // = | @ written
}

TEST(ErrorName, IsThatOfTheSystem) {
    int named = 0;
    for (int error = 1; error < 200; ++error)
        named += StringOrNil(strerrorname_np(error)) == std::string(ErrorName(error));
    SHOW(named);                                             // = 54
    SHOW(ErrorName(0), ErrorName(ENOTSUP), ErrorString(0));  // = "Success" "ENOTSUP" "No error"
}

TEST(Report, WritesTwoLinesAndLeavesTheErrorNumber) {
    const char *const c = "C", *const m = "m", *const x = "x";
    SHOW(ReportBadValue(c, "text", m, x));  // = EINVAL | @ C: ERROR! Bad value 'text' in method 'C::m()' context [x].
    // | Error: Bad value 'text' in method 'C::m()' context [x].
    logger_.mode_ = 2;                           // of the others the level line alone
    SHOW(ReportBadValueForType(c, 3, 9, m, x));  // = EINVAL
    // | Error: Bad value '9' for type '3' in method 'C::m()' context [x].
    SHOW(ReportBadPointer(c, nullptr, m, x));  // = EINVAL | Error: Bad pointer '0' in method 'C::m()' context [x].
    SHOW(ReportNotPermitted(c, m, x));    // = EPERM | Error: Operation not permitted in method 'C::m()' context [x].
    SHOW(ReportNotImplemented(c, m, x));  // = ENOSYS | Error: Not implemented in method 'C::m()' context [x].
    SHOW(ReportNoMemory(c, m, x));        // = ENOMEM | Error: Memory allocation failed in method 'C::m()' context [x].
    SHOW(ReportInvalidState(c, m, x));    // = EACCES | Error: Invalid state for object in method 'C::m()' context [x].
    SHOW(ReportBadDescriptorState(c, m, x));  // = EBADF | Error: Bad descriptor state in method 'C::m()' context [x].
    SHOW(ReportBufferNotFound(c, m, x));      // = ENXIO | Error: Buffer not found in method 'C::m()' context [x].
    SHOW(ReportInvalidBufferOwner(c, m, x));  // = EDEADLK | Error: Invalid buffer owner in method 'C::m()' context [x].
    SHOW(ReportBadEvent(c, "t", m, x));       // = EBADE | Error: Bad event 't' in method 'C::m()' context [x].
}

// Whether a prefix begins with the ids of this process and thread.
static int ShowsIds() {
    char text[kLogPrefixSize];
    const std::string ids = std::to_string(getpid()) + " " + std::to_string(gettid()) + " ";
    return LogPrefix(text, sizeof text) == static_cast<int>(strlen(text)) && std::string(text).starts_with(ids) ? 1 : 0;
}

TEST(LogPrefix, BeginsWithIdsAndIsCutBeforeTheLastByteOfTheBuffer) {
    SHOW(ShowsIds());  // = 1
    std::thread([] { EXPECT_EQ(ShowsIds() + (InChild(ShowsIds) >> 8), 2); }).join();
    char text[kLogPrefixSize];
    const int length = LogPrefix(text, sizeof text);
    SHOW(LogPrefix(strcpy(text, "kept"), 1) - length, text);                              // = 0 "kept"
    SHOW(LogPrefix(text, length + 1) - length, length - static_cast<int>(strlen(text)));  // = 0 1
}

TEST(Logger, NoEntryChangesErrno) {
    const int full = open("/dev/full", O_WRONLY);
    for (const auto entry : kEntries) {
        const LogCapture log;
        dup2(full, 2);
        entry() << "pending";
        errno = snapshot::kUnchanged;
        entry();
        std::clog.clear();
        logger_.Tagged("\n");
        EXPECT_EQ(errno, snapshot::kUnchanged);
        std::clog.clear();
    }
    close(full);
}

TEST(Logger, AChildLogsWhoeverHeldTheLock) {
    Logger::mutex_.Lock();
    SHOW(InChild([] { return Log() << "child\n", 0; }));  // = 0 | @ child
    Logger::mutex_.Unlock();
}

// Built before the Logger, so destroyed after it.
[[gnu::init_priority(150)]] struct LastWord {
    ~LastWord() {
        if (!armed) return;
        Log() << "log\n";
        LogError() << "level\n";
        *logger_.auxStream_ << "third\n";
        *logger_.nullStream_ << "null\n";
    }
    bool armed = false;
} lastWord;

TEST(Logger, WritesFilesToItsEndAndThenOnTheStandardError) {
    const TemporaryDirectory directory;
    const auto logToTheEnd = [] {
        const char* const missing[] = {"/no/such/program", "program", nullptr};
        logger_.redirect_ = 1;
        logger_.OpenLogFile(".", "log");
        logger_.OpenErrorFile(nullptr, "errors");
        logger_.OpenAuxFile(nullptr, "aux");
        LogError() << "pending\n";
        *logger_.auxStream_ << "pending\n";
        // A child that cannot be executed ends silently; no child repeats the text that its parent has written.
        ProcessCreate("", missing, nullptr, -1, -1, -1, 0, 1);
        if (fork() == 0) exit(0);
        while (wait(nullptr) != -1) continue;
        lastWord.armed = true;
        return ReadFile("aux") == "pending\n" ? 0 : 1;
    };
    SHOW(InChild(logToTheEnd), ReadFile("aux"));  // = 0 "pending\n" | @ log | Error: level | third | null
    SHOW(ReadFile("errors"));  // = "Logger: Redirected the standard error to 'errors'.\nError: pending\n"
}

TEST(LogDestinations, FilesArePrivateAppendedToAndTruncated) {
    const TemporaryDirectory directory;
    const mode_t mask = umask(0);
    Logger logger;
    SHOW((logger.OpenLogFile(nullptr, "log"), logger.OpenErrorFile(nullptr, "log")),
         FileIsEntity(nullptr, "log"));                                                  // = 0
    SHOW(logger.SetAuxStream(new std::ostringstream), logger.auxStream_ == &std::clog);  // = 0
    const int next = dup(2);
    close(next);
    logger.OpenAuxFile(".", "log");
    SHOW(fcntl(next, F_GETFD), logger.auxName_);                           // = 1 "./log"
    SHOW(static_cast<int>(std::filesystem::status("log").permissions()));  // = 384
    logger.redirect_ = 1;
    logger.buffered_ = 0;
    SHOW(logger.OpenLogFile(nullptr, "log"), logger.logName_);                    // = "log"
    SHOW(*logger.logStream_ << "one\n", ReadFile("log"));                         // = "one\n"
    SHOW(logger.OpenLogFile(nullptr, "log"), ReadFile("log"));                    // = "one\n"
    SHOW(logger.TruncateLogFile(5), ReadFile("log"));                             // = "one\n"
    SHOW(logger.TruncateLogFile(4), ReadFile("log"));                             // = ""
    SHOW(*logger.logStream_ << "two\n", ReadFile("log"), logger.logName_);        // = "two\n" "log"
    SHOW((logger.ResetLogStream(), logger.Log() << "three\n"), logger.logName_);  // = null | @ three
    SHOW(umask(mask));                                                            // = 0
}

TEST(LogDestinations, AReplacedStreamWritesToTheStandardErrorUntilTheNextIsReplaced) {
    const TemporaryDirectory directory;
    Logger logger;
    logger.redirect_ = 1;
    logger.OpenErrorFile(nullptr, "one");
    std::ostream& one = logger.Error() << "pending\n";
    logger.OpenErrorFile(nullptr, "two");
    SHOW(ReadFile("one"));  // = "Logger: Redirected the standard error to 'one'.\nError: pending\n"
    SHOW(one << "late\n" << std::flush, logger.errorRetired_ == &one);                                   // = 1 | late
    SHOW(logger.TruncateErrorFile(0), ReadFile("two"), Logger().stderrBuffer_ == logger.stderrBuffer_);  // = "" 1
    SHOW(std::clog << "led\n" << std::flush, ReadFile("two"));                                           // = "led\n"
    SHOW((logger.ResetErrorStream(), logger.Error() << "back\n"));  // = | Error: back
    auto* const own = new std::ostringstream;
    SHOW(logger.SetErrorStream(own), own->str());  // = "Logger: Redirected the standard error to the stream.\n"
    auto* const full = new std::ofstream("/dev/full");
    logger.SetLogStream(full);
    full->exceptions(std::ios::badbit);
    *full << "pending";
    SHOW(logger.Log(), full->bad());                                 // = 1
    SHOW(logger.ResetLogStream(), logger.logStream_ == &std::clog);  // = 1
}

TEST(LogDestinations, ThreadsShareAFileThatStaysWhereNoOtherCanBeOpened) {
    const TemporaryDirectory directory;
    Logger logger;
    logger.OpenAuxFile(nullptr, "aux");
    const auto write = [&] {
        for (int line = 0; line < 2000; ++line) *logger.auxStream_ << "text " << 10 << "\n" << std::flush;
    };
    std::thread other(write);
    write(), other.join();
    EXPECT_EQ(ReadFile("aux").size(), 2U * 2000 * 8);
    microsecondsSlept = 0;
    SHOW(logger.OpenAuxFile("none", "aux"), logger.auxName_, microsecondsSlept);  // = ENOENT "aux" 1000000
    std::filesystem::remove("aux");
    std::filesystem::create_directory("aux");
    SHOW(logger.TruncateAuxFile(0), logger.auxName_, logger.auxStream_ == &std::clog);  // = EISDIR null 1
}
