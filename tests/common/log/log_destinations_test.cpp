#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <sstream>

#include "common/log/logger.h"
#include "tests/support/scopes.h"

namespace {

using L = Logger;
constexpr void (L::*kSet[])(std::ostream*) = {&L::SetLogStream, &L::SetErrorStream, &L::SetAuxStream};
constexpr void (L::*kOpen[])(const char*, const char*) = {&L::OpenLogFile, &L::OpenErrorFile, &L::OpenAuxFile};
constexpr void (L::*kTruncate[])(int) = {&L::TruncateLogFile, &L::TruncateErrorFile, &L::TruncateAuxFile};
constexpr void (L::*kReset[])() = {&L::ResetLogStream, &L::ResetErrorStream, &L::ResetAuxStream};
constexpr std::ostream* L::*kStream[] = {&L::logStream_, &L::errorStream_, &L::auxStream_};

TEST(LogDestinations, StandardErrorNeverWritesIntoADeletedStream) {
    const LogCapture log;
    std::streambuf* const own = std::clog.rdbuf();
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), 2);
    for (int order = 0; order < 12 * 12 * 12 * 12 * 12; ++order) {
        // What begins with a Truncate or a Reset, which change nothing yet, is a shorter order.
        if (order / 3 % 4 > 1) continue;
        Logger logger;
        logger.redirect_ = 1;
        for (int rest = order, step = 0; step < 5; ++step, rest /= 12) {
            const int slot = rest % 3, operation = rest / 3 % 4;
            if (operation == 0) (logger.*kSet[slot])(new std::ostringstream);
            if (operation == 1) (logger.*kOpen[slot])("/dev", "null");
            if (operation == 2) (logger.*kTruncate[slot])(0);
            if (operation == 3) (logger.*kReset[slot])();
            std::clog << 'x';
            ASSERT_EQ(std::clog.rdbuf(), logger.errorStream_ == &std::clog ? own : logger.errorStream_->rdbuf());
        }
    }
    EXPECT_EQ(std::clog.rdbuf(), own);
}

TEST(LogDestinations, FilesArePrivateAppendedToAndTruncatedAtALimit) {
    const TempFolder folder;
    const LogCapture log;
    const mode_t mask = umask(0);
    for (int slot = 0; slot < 3; ++slot) {
        Logger logger;
        const std::string path = folder.Path(std::to_string(slot)),
                          line = slot == 1 ? "Logger: Redirected the standard error to '" + path + "'.\n" : "";
        (logger.*kOpen[slot])(nullptr, path.c_str());
        EXPECT_EQ(access(path.c_str(), F_OK), slot == 2 ? 0 : -1);
        (logger.*kReset[slot])();
        logger.redirect_ = 1, logger.buffered_ = 0;
        for (const char* text : {"one\n", "two\n"}) {
            (logger.*kOpen[slot])(nullptr, path.c_str());
            *(logger.*kStream[slot]) << text;
        }
        struct stat record {};
        EXPECT_EQ((Told() << stat(path.c_str(), &record) << (record.st_mode & 0777)), Shown(0, 0600));
        (logger.*kTruncate[slot])(-1);
        (logger.*kTruncate[slot])(1000);
        EXPECT_EQ(ReadFile(path), line + "one\n" + line + "two\n");
        (logger.*kTruncate[slot])(8);
        *(logger.*kStream[slot]) << "three\n";
        EXPECT_EQ(ReadFile(path), "three\n");
    }
    EXPECT_EQ(umask(mask), 0U);
}

TEST(LogDestinations, AFileThatCannotBeOpenedIsTriedForASecondAndChangesNothing) {
    const TempFolder folder;
    const std::string path = folder.Path("log"), line = "Logger: Redirected the standard error to '" + path + "'.\n";
    Logger logger;
    std::streambuf* const own = std::clog.rdbuf();
    logger.redirect_ = 1;
    logger.OpenErrorFile(nullptr, path.c_str());
    std::ostream* const stream = logger.errorStream_;
    const auto start = std::chrono::steady_clock::now();
    logger.OpenErrorFile("/no/such/folder", "log");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(logger.errorStream_->flush().rdbuf(), stream->rdbuf());
    EXPECT_EQ(Shown(ReadFile(path), logger.errorName_), Shown(line + line, path));
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    logger.TruncateErrorFile(0);
    EXPECT_TRUE(logger.errorStream_ == &std::clog && logger.errorName_ == nullptr && std::clog.rdbuf() == own);
}

}  // namespace
