// Scopes that tests share: each restores what it changes and removes what it makes.
#pragma once
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

inline std::string ReadFile(const std::string& path) {
    return (std::ostringstream() << std::ifstream(path).rdbuf()).str();
}

inline void WriteFile(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

/// A temporary directory, current while it exists, so that its files need no path.
struct TemporaryDirectory {
    TemporaryDirectory() { std::filesystem::current_path(path); }
    ~TemporaryDirectory() {
        std::filesystem::current_path(old);
        std::filesystem::remove_all(path);
    }
    const std::filesystem::path old = std::filesystem::current_path();
    const std::filesystem::path path =
        mkdtemp((std::filesystem::temp_directory_path() / "qvpost-XXXXXX").string().data());
};

/// The text that reaches the standard error during the scope. A time-stamp prefix is shown as "@ ", the number of an
/// open descriptor as "N".
struct LogCapture {
    LogCapture() { dup2(fileno(file), 2); }
    ~LogCapture() {
        __fpurge(stderr);  // the buffered text belongs to this capture
        dup2(old, 2);
        close(old);
        fclose(file);
    }
    std::string Text() const {
        fflush(stderr);
        static const std::regex prefix(R"(\d+ \d+ \d\d:\d\d:\d\d \d{3}\.\d{3} )"), number(R"(FD#\d+)");
        const std::string text = ReadFile("/proc/self/fd/" + std::to_string(fileno(file)));
        return std::regex_replace(std::regex_replace(text, prefix, "@ "), number, "FD#N");
    }
    FILE* const file = tmpfile();
    const int old = dup(2);
};

/// Runs a body in a forked child; returns the wait status. The body's result is the exit status, through exit.
inline int InChild(auto body) {
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) exit(body());
    int status = -1;
    waitpid(pid, &status, 0);
    return status;
}
