// Scopes that tests share: what they change is put back, what they make is removed.
#pragma once
#include <fcntl.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <string>

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// A folder that removes itself, as the current one: its files need no path.
class CurrentFolder {
public:
    CurrentFolder() { std::filesystem::current_path(path_); }
    ~CurrentFolder() {
        std::filesystem::current_path(old_);
        std::filesystem::remove_all(path_);
    }

private:
    const std::filesystem::path old_ = std::filesystem::current_path();
    const std::filesystem::path path_ =
        mkdtemp((std::filesystem::temp_directory_path() / "qvpost-XXXXXX").string().data());
};

/// Everything that reaches the standard error meanwhile; a time-stamp prefix is shown as "@ ".
class LogCapture {
public:
    LogCapture() { dup2(fileno(file_), 2); }
    ~LogCapture() {
        __fpurge(stderr);  // what waits there is nobody else's
        dup2(old_, 2);
        close(old_);
        fclose(file_);
    }
    std::string Text() const {
        fflush(stderr);
        static const std::regex prefix(R"(\d+ \d+ \d\d:\d\d:\d\d \d{3}\.\d{3} )");
        return std::regex_replace(ReadFile("/proc/self/fd/" + std::to_string(fileno(file_))), prefix, "@ ");
    }

private:
    FILE* file_ = tmpfile();
    int old_ = dup(2);
};

/// An environment variable with another value, or none.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name), old_(getenv(name)) { Set(value); }
    ~Variable() { Set(old_); }

private:
    void Set(const char* value) { value != nullptr ? setenv(name_, value, 1) : unsetenv(name_); }
    const char *name_, *old_;  // the C library frees no value
};

/// Runs a body in a forked child; returns the wait status. The body's result is the exit status, through exit.
inline int InChild(const std::function<int()>& body) {
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) exit(body());
    int status = -1;
    waitpid(pid, &status, 0);
    return status;
}
