// Scopes that tests share: what they change is put back, what they make is removed.
#pragma once
#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>

/// A folder that removes itself.
class TempFolder {
public:
    TempFolder() : path_(mkdtemp((std::filesystem::temp_directory_path() / "qvpost-XXXXXX").string().data())) {}
    ~TempFolder() { std::filesystem::remove_all(path_); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::string Path(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// Everything that reaches the standard error meanwhile; a time-stamp prefix is shown as "@ ".
class LogCapture {
public:
    LogCapture() : old_(dup(2)) {
        fflush(stderr);
        dup2(fileno(file_), 2);
    }
    ~LogCapture() {
        fflush(stderr);
        dup2(old_, 2);
        close(old_);
        fclose(file_);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    std::string Text() const {
        fflush(stderr);
        std::istringstream lines(ReadFile("/proc/self/fd/" + std::to_string(fileno(file_))));
        std::string text;
        for (std::string line; std::getline(lines, line); text += lines.eof() ? "" : "\n") {
            int end = 0;
            sscanf(line.c_str(), "%*d %*d %*2d:%*2d:%*2d %*3d.%*3d%n", &end);
            text += end == 0 ? line : "@" + line.substr(static_cast<size_t>(end));
        }
        return text;
    }

private:
    FILE* file_ = tmpfile();
    int old_;
};

/// An environment variable with another value, or none.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name), had_(getenv(name) != nullptr) {
        if (had_) old_ = getenv(name);
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    ~Variable() { had_ ? setenv(name_, old_.c_str(), 1) : unsetenv(name_); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* name_;
    bool had_;
    std::string old_;
};

/// Runs a body in a forked child; returns the wait status. The body's result is the exit status, through exit.
inline int InChild(const std::function<int()>& body) {
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) exit(body());
    int status = -1;
    waitpid(pid, &status, 0);
    return status;
}

/// Values as one text, with a blank between them.
template <class... Values>
std::string Shown(const Values&... values) {
    std::ostringstream out;
    const char* separator = "";
    ((out << std::exchange(separator, " ") << values), ...);
    return out.str();
}

/// The same, with every value evaluated before the next one: "Told() << Call() << errno".
class Told {
public:
    template <class Value>
    Told& operator<<(const Value& value) {
        text_ += (text_.empty() ? "" : " ") + Shown(value);
        return *this;
    }
    bool operator==(const std::string& text) const { return text_ == text; }
    friend std::ostream& operator<<(std::ostream& out, const Told& told) { return out << told.text_; }

private:
    std::string text_;
};
