#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <atomic>
#include <iomanip>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>

#include "common/io/file.h"
#include "common/log/error_name.h"
#include "common/log/log_direct.h"
#include "common/log/logger.h"
#include "common/log/report.h"
#include "common/process/process_create.h"
#include "common/process/thread.h"
#include "tests/common/failing_calls.h"
#include "tests/support/transcript.h"

namespace {

constexpr std::ostream& (*kEntries[])() = {Log,     LogContinue, LogSession,      LogError,       LogWarning,
                                           LogInfo, LogPlain,    LogDirectPrefix, LogDirectError, LogDirectContinue};

void WriteThroughAll() {
    for (const auto entry : kEntries) entry() << "text\n";
}

TEST(Logger, ModeChoosesTheLines) {
    SHOW(WriteThroughAll());  // =
    // | @ text
    // | text
    // | Session: text
    // | Error: text
    // | Warning: text
    // | Info: text
    // | text
    // | @ text
    // | @ Error: text
    // | text
    logger_.mode_ = 2;
    SHOW(Log() << "text\n");       // =
    SHOW(LogError() << "text\n");  // =
    // | Error: text
    logger_.mode_ = 0;
    SHOW(WriteThroughAll());  // =
    // | @ text
    // | @ Error: text
    // | text
    logger_.mode_ = 1;
}

TEST(Logger, LinesBeginAsIfNothingWasLeftBehind) {
    SHOW(Log() << std::hex << 10 << std::setw(9));  // =
    // | @ a
    SHOW(Log() << 10 << "\n");  // =
    // | @ 10
    SHOW(LogError() << std::hex << 10 << std::setw(9) << std::flush);  // =
    // | Error: a
    SHOW(LogPlain() << 10 << "\n");  // =
    // | a
    SHOW(logger_.Tagged("tag") << 10 << "\n");  // =
    // | @ tag/10
    SHOW(LogError() << 10 << "\n");  // =
    // | Error: 10
    SHOW(Log() << "null" << static_cast<const char*>(nullptr));  // =
    // | @ null
    SHOW(Log() << "lost\n");  // =
    std::clog.clear();
}

// How many errors have a name, which must be the one that the system has for them.
int NamedErrors() {
    int count = 0;
    for (int error = 1; error < 200; ++error) {
        const std::string name = ErrorName(error);
        if (name == "Unknown" || error == ENOTSUP) continue;
        EXPECT_EQ(name, strerrorname_np(error));
        ++count;
    }
    return count;
}

TEST(ErrorName, IsThatOfTheSystem) {
    SHOW(NamedErrors());                     // = 54
    SHOW((errno = EPERM, LastErrorName()));  // = "EPERM" EPERM
    SHOW(ErrorName(0));                      // = "Success"
    SHOW(ErrorName(ENOTSUP));                // = "ENOTSUP"
    SHOW(ErrorString(0));                    // = "No error"
    SHOW(LastErrorString());                 // = "Unknown error 4711"
}

TEST(Report, WritesTwoLinesAndLeavesTheErrorNumber) {
    SHOW(ReportBadValue("C", "text", "m", "x"));  // = EINVAL
    // | @ C: ERROR! Bad value 'text' in method 'C::m()' context [x].
    // | Error: Bad value 'text' in method 'C::m()' context [x].
    logger_.mode_ = 2;                                 // of the others the level line alone
    SHOW(ReportBadValueForType("C", 3, 9, "m", "x"));  // = EINVAL
    // | Error: Bad value '9' for type '3' in method 'C::m()' context [x].
    const void* const address = reinterpret_cast<void*>(16);
    SHOW(ReportBadValue("C", 9, "m", "x"));  // = EINVAL
    // | Error: Bad value '9' in method 'C::m()' context [x].
    SHOW(ReportBadValue("C", address, "m", "x"));  // = EINVAL
    // | Error: Bad value '0x10' in method 'C::m()' context [x].
    SHOW(ReportBadPointer("C", address, "m", "x"));  // = EINVAL
    // | Error: Bad pointer '0x10' in method 'C::m()' context [x].
    SHOW(ReportNotPermitted("C", "m", "x"));  // = EPERM
    // | Error: Operation not permitted in method 'C::m()' context [x].
    SHOW(ReportNotImplemented("C", "m", "x"));  // = ENOSYS
    // | Error: Not implemented in method 'C::m()' context [x].
    SHOW(ReportNotImplemented("C", address, "m", "x"));  // = ENOSYS
    // | Error: Not implemented in method 'C::m()' context [x] value '0x10'.
    SHOW(ReportNoMemory("C", "m", "x"));  // = ENOMEM
    // | Error: Memory allocation failed in method 'C::m()' context [x].
    SHOW(ReportInvalidState("C", "m", "x"));  // = EACCES
    // | Error: Invalid state for object in method 'C::m()' context [x].
    SHOW(ReportBadDescriptorState("C", "m", "x"));  // = EBADF
    // | Error: Bad descriptor state in method 'C::m()' context [x].
    SHOW(ReportBufferNotFound("C", "m", "x"));  // = ENXIO
    // | Error: Buffer not found in method 'C::m()' context [x].
    SHOW(ReportInvalidBufferOwner("C", "m", "x"));  // = EDEADLK
    // | Error: Invalid buffer owner in method 'C::m()' context [x].
    SHOW(ReportBadEvent("C", "text", "m", "x"));  // = EBADE
    // | Error: Bad event 'text' in method 'C::m()' context [x].
    SHOW(ReportInvalidTypeOperation("C", "text", "m", "x"));  // = EOPNOTSUPP
    // | Error: Invalid operation for type 'text' in method 'C::m()' context [x].
    SHOW(ReportInvalidProtoOperation("C", "text", "m", "x"));  // = EPROTO
    // | Error: Invalid operation for proto 'text' in method 'C::m()' context [x].
    SHOW(ReportNotImplemented("C", 5, "m", "x"));  // = ENOSYS
    // | Error: Not implemented in method 'C::m()' context [x] value '5'.
    logger_.mode_ = 1;
}

// Whether a prefix begins with the ids of this process and thread.
int ShowsIds() {
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
    SHOW(LogPrefix(text, length + 2) - length, length - static_cast<int>(strlen(text)));  // = 0 0
}

TEST(Logger, EveryLineIsOneWrite) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    const std::string text(3000, 'x');
    char packet[8192];
    const LogCapture log;
    dup2(ends[1], 2);
    LogError() << text << 1 << text << "\n";
    EXPECT_EQ(read(ends[0], packet, sizeof packet), 6009);
    close(ends[0]);
    close(ends[1]);
}

TEST(Logger, AFailedOrCancelledLineCostsThatLineAlone) {
    const Variable zone("TZ", "/no/such/zone");
    int ends[2], full = open("/dev/full", O_WRONLY);
    ASSERT_EQ(FilePipe(ends, 4096), 1);
    FileWriteString(ends[1], std::string(4096, 'x').c_str());
    {
        const LogCapture log;
        dup2(ends[1], 2);
        std::thread blocked([] { Log() << "blocks\n"; });
        ThreadCancel(blocked.native_handle());
        blocked.join();
    }
    for (const auto entry : kEntries) {
        {
            const LogCapture log;
            dup2(full, 2);
            entry() << "pending";
            errno = transcript::kUnchanged;
            entry();
            EXPECT_EQ(errno, transcript::kUnchanged);
        }
        const LogCapture log;
        entry() << "text\n";
        EXPECT_TRUE(log.Text().ends_with("text\n")) << log.Text();
    }
    for (const int descriptor : {ends[0], ends[1], full}) close(descriptor);
}

TEST(Logger, AChildLogsWhateverTheOtherThreadsDid) {
    const LogCapture log;
    std::atomic<bool> done = false;
    std::thread other([&] {
        while (!done) Log() << "line\n";
    });
    const auto logAndEnd = [] {
        Log() << "child\n";
        _exit(0);  // at an exit beside a thread ThreadSanitizer sleeps for a second
        return 0;
    };
    for (int fork = 0; fork < 200; ++fork) ASSERT_EQ(InChild(logAndEnd), 0);
    done = true;
    other.join();
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
    const CurrentFolder folder;
    const auto logToTheEnd = [] {
        const char* const missing[] = {"/no/such/program", "program", nullptr};
        logger_.redirect_ = 1;
        logger_.OpenLogFile(".", "log");
        logger_.OpenErrorFile(nullptr, "errors");
        logger_.OpenAuxFile(nullptr, "aux");
        LogError() << "pending\n";
        *logger_.auxStream_ << "pending\n";
        // A child that can't be executed ends without a word.
        waitpid(ProcessCreate("", missing, nullptr, -1, -1, -1, 0, 1), nullptr, 0);
        return lastWord.armed = true, 0;
    };
    SHOW(InChild(logToTheEnd), ReadFile("aux"));  // = 0 "pending\x0A"
    // | @ log
    // | Error: level
    // | third
    // | null
    SHOW(ReadFile("errors"));  // = "Logger: Redirected the standard error to 'errors'.\x0AError: pending\x0A"
    SHOW(LogContinue() << "half " << InChild([] { return 0; }) << " line\n");  // =
    // | half 0 line
}

using L = Logger;
constexpr void (L::*kSet[])(std::ostream*) = {&L::SetLogStream, &L::SetErrorStream, &L::SetAuxStream};
constexpr void (L::*kOpen[])(const char*, const char*) = {&L::OpenLogFile, &L::OpenErrorFile, &L::OpenAuxFile};
constexpr void (L::*kTruncate[])(int) = {&L::TruncateLogFile, &L::TruncateErrorFile, &L::TruncateAuxFile};
constexpr void (L::*kReset[])() = {&L::ResetLogStream, &L::ResetErrorStream, &L::ResetAuxStream};

TEST(LogDestinations, StandardErrorFollowsTheLevelStream) {
    const LogCapture log;
    std::streambuf* const own = std::clog.rdbuf();
    std::minstd_rand random;  // the same orders everywhere
    for (int order = 0; order < 1000; ++order) {
        Logger logger;
        logger.redirect_ = 1;
        for (int step = 0; step < 20; ++step) {
            const auto slot = random() / 7 % 3, operation = random() / 7 % 4;
            if (operation == 0) (logger.*kSet[slot])(new std::ostringstream);
            if (operation == 1) (logger.*kOpen[slot])("/dev", "null");
            if (operation == 2) (logger.*kTruncate[slot])(0);
            if (operation == 3) (logger.*kReset[slot])();
            std::clog << 'x';
            ASSERT_EQ(std::clog.rdbuf(), logger.errorStream_ == &std::clog ? own : logger.errorStream_->rdbuf());
            ASSERT_EQ(Logger().stderrBuffer_, own);
        }
    }
    EXPECT_EQ(std::clog.rdbuf(), own);
}

TEST(LogDestinations, FilesArePrivateAppendedToAndTruncated) {
    const CurrentFolder folder;
    const mode_t mask = umask(0);
    Logger logger;
    SHOW(logger.OpenLogFile(nullptr, "log"), FileIsEntity(nullptr, "log"));  // = 0
    SHOW(logger.OpenAuxFile(".", "log"), logger.auxName_);                   // = "./log"
    struct stat record;
    SHOW(FileStat("log", &record), record.st_mode & 0777);  // = 1 384
    logger.redirect_ = 1;
    logger.buffered_ = 0;
    SHOW(logger.OpenLogFile(nullptr, "log"), logger.logName_);              // = "log"
    SHOW(*logger.logStream_ << "one\n", ReadFile("log"));                   // = "one\x0A"
    SHOW(logger.OpenLogFile(nullptr, "log"), ReadFile("log"));              // = "one\x0A"
    SHOW(logger.TruncateLogFile(5), ReadFile("log"));                       // = "one\x0A"
    SHOW(logger.TruncateLogFile(4), ReadFile("log"));                       // = ""
    SHOW(*logger.logStream_ << "two\n", ReadFile("log"), logger.logName_);  // = "two\x0A" "log"
    SHOW(logger.ResetLogStream(), logger.logName_);                         // = null
    SHOW(logger.Log() << "three\n");                                        // =
    // | @ three
    SHOW(umask(mask));  // = 0
}

TEST(LogDestinations, AReplacedStreamWritesToTheStandardErrorUntilTheNextIsReplaced) {
    const CurrentFolder folder;
    Logger logger;
    logger.redirect_ = 1;
    logger.OpenErrorFile(nullptr, "one");
    std::ostream& one = logger.Error();
    one << "pending\n";
    SHOW(logger.OpenErrorFile(nullptr, "two"),
         ReadFile("one"));  // = "Logger: Redirected the standard error to 'one'.\x0AError: pending\x0A"
    SHOW(one << "late\n" << std::flush, logger.errorRetired_ == &one);  // = 1
    // | late
    std::clog.rdbuf(nullptr);  // another one's doing
    SHOW(logger.ResetErrorStream(), ReadFile("two"),
         logger.errorRetired_ != &one);  // = "Logger: Redirected the standard error to 'two'.\x0A" 1
    SHOW(logger.Error() << "back\n");    // =
    // | Error: back
    auto* const own = new std::ostringstream;
    SHOW(logger.SetErrorStream(own), own->str());  // = "Logger: Redirected the standard error to the stream.\x0A"
    SHOW(logger.OpenErrorFile(nullptr, nullptr),
         own->str().substr(51));  // = ".\x0ALogger: Redirected the standard error to 'nil'.\x0A"
}

TEST(LogDestinations, AFileThatCannotBeOpenedIsTriedFiveTimesAndChangesNothing) {
    const CurrentFolder folder;
    Logger logger;
    logger.OpenAuxFile(nullptr, "aux");
    microsecondsSlept = 0;
    SHOW(logger.OpenAuxFile("none", "aux"), logger.auxName_, microsecondsSlept);  // = ENOENT "aux" 1000000
    std::filesystem::remove("aux");
    SHOW(logger.TruncateAuxFile(0), logger.auxName_);  // = ENOENT "aux"
    std::filesystem::create_directory("aux");
    SHOW(logger.TruncateAuxFile(0), logger.auxName_, logger.auxStream_ == &std::clog);  // = EISDIR null 1
}

}  // namespace
