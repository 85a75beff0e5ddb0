#include "common/log/logger.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <iostream>
#include <thread>

#include "common/log/log_direct.h"
#include "common/process/process_create.h"
#include "tests/support/scopes.h"

namespace {

// Built before the Logger, so destroyed after it.
struct LastWord {
    ~LastWord() {
        const std::ostream* const out = &std::clog;
        if (armed)
            Log() << (logger_.logStream_ == out) << (logger_.errorStream_ == out) << (logger_.auxStream_ == out)
                  << (logger_.nullStream_ == out) << "\n";
    }
    bool armed;
};
[[gnu::init_priority(150)]] LastWord lastWord{false};

TEST(Logger, LinesLoggedAfterItsEndStillReachTheStandardError) {
    const TempFolder folder;
    const LogCapture log;
    const int status = InChild([&folder] {
        logger_.redirect_ = 1;
        logger_.OpenLogFile(folder.Path("").c_str(), "log");
        logger_.OpenErrorFile(nullptr, folder.Path("errors").c_str());
        Log() << "kept\n";
        lastWord.armed = true;
        return 0;
    });
    EXPECT_EQ(Shown(status, log.Text()), "0 @ 1111\n");
    EXPECT_TRUE(ReadFile(folder.Path("log")).ends_with(" kept\n"));
}

TEST(Logger, ModesChooseTheLinesThatAreWritten) {
    const std::string level = "Session: \nError: \nWarning: \nInfo: \n\n";
    for (const auto& [mode, text] :
         {std::pair{0, std::string()}, {1, "@ \n\n" + level + "@ tag/\n@ \n"}, {2, level}, {-1, level}}) {
        const LogCapture log;
        logger_.mode_ = mode;
        for (std::ostream& (*entry)() : {Log, LogContinue, LogSession, LogError, LogWarning, LogInfo, LogPlain})
            entry() << "\n";
        logger_.Tagged("tag") << "\n";
        logger_.showTags_ = logger_.locked_ = 0;
        logger_.Tagged("tag") << "\n";
        logger_.showTags_ = logger_.locked_ = 1;
        EXPECT_EQ(log.Text(), text) << mode;
    }
    const LogCapture log;
    logger_.mode_ = 0;
    for (std::ostream& (*entry)() : {LogDirect, LogDirectPrefix, LogDirectContinue, LogDirectError}) entry() << "\n";
    EXPECT_EQ(log.Text(), "\n@ \n\n@ Error: \n");
    logger_.mode_ = 1;
}

TEST(Logger, EveryLineIsOneWrite) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    {
        const LogCapture log;
        dup2(ends[1], 2);
        for (int i = 0; i < 3; ++i)
            Log() << "Module: " << i << " of " << 3 << ".\n", LogError() << i << std::string(3000, 'x') << "\n";
    }
    close(ends[1]);
    char packet[8192];
    std::string lines;
    for (ssize_t length; (length = read(ends[0], packet, sizeof packet)) > 0;)
        lines += std::find(packet, packet + length, '\n') == packet + length - 1 ? (length > 3000 ? 'L' : 's') : '?';
    EXPECT_EQ(lines, "sLsLsL");
    close(ends[0]);
}

TEST(Logger, EntriesKeepErrnoWhenTheStandardErrorIsDead) {
    const Variable zone("TZ", "/no/such/zone");
    const LogCapture log;
    for (const int dead : {open("/dev/full", O_WRONLY), -1}) {
        if (dead == -1 || dup2(dead, 2) != 2) close(2);
        for (std::ostream& (*entry)() : {Log, LogSession, LogError, LogWarning, LogInfo, LogPlain, LogContinue,
                                         LogDirectPrefix, LogDirectError, LogDirectContinue}) {
            entry() << "pending";
            errno = 4711;
            entry();
            EXPECT_EQ(errno, 4711);
        }
        LogFlush();
        EXPECT_EQ(errno, 4711);
    }
}

std::string Ids() { return Shown(getpid(), gettid(), ""); }

TEST(LogPrefix, BeginsWithTheIdsOfThisProcessAndThreadAndIsCutAtTheBuffersEnd) {
    const auto differs = [] {
        char text[kLogPrefixSize];
        return LogPrefix(text, sizeof text) == static_cast<int>(strlen(text)) && std::string(text).starts_with(Ids())
                   ? 0
                   : 1;
    };
    EXPECT_EQ(differs(), 0);
    std::thread([&] { EXPECT_EQ(differs(), 0); }).join();
    EXPECT_EQ(InChild(differs), 0);
    int status = -1;
    const int pid = ProcessFork(), length = static_cast<int>(Ids().size()) + 17;
    if (pid == 0) exit(differs());
    EXPECT_EQ(waitpid(pid, &status, 0) - pid + status, 0);
    for (const int size : {0, 1, 2, 3, 12, length + 1, length + 2}) {
        char text[kLogPrefixSize] = "untouched";
        EXPECT_EQ(LogPrefix(text, size), length);
        EXPECT_EQ(static_cast<int>(strlen(text)), size < 2 ? 9 : size - 2) << size;
    }
}

TEST(Logger, PendingTextIsNotWrittenAgainByAChildThatEnds) {
    const TempFolder folder;
    const LogCapture log;
    const char* const missing[] = {"/no/such/program", "program", nullptr};
    logger_.redirect_ = 1;
    logger_.OpenErrorFile(nullptr, folder.Path("errors").c_str());
    logger_.OpenAuxFile(nullptr, folder.Path("aux").c_str());
    LogError() << "half\n";
    *logger_.auxStream_ << "half\n";
    int status = -1;
    waitpid(ProcessCreate("", missing, nullptr, -1, -1, -1, 0, 1), &status, 0);
    EXPECT_EQ(Shown(status, ReadFile(folder.Path("aux"))), Shown(ENOENT << 8, ""));
    logger_.ResetErrorStream();
    logger_.ResetAuxStream();
    LogContinue() << "half ";
    const pid_t pid = fork();
    if (pid == 0) exit(0);
    waitpid(pid, nullptr, 0);
    LogContinue() << "line\n";
    EXPECT_EQ(Shown(log.Text(), ReadFile(folder.Path("aux"))), "half line\n half\n");
    EXPECT_TRUE(ReadFile(folder.Path("errors")).ends_with("'.\nError: half\n"));
}

}  // namespace
