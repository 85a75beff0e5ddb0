// Messages on the standard error, one a line. A name in one is quoted, so that it can forge no other.
#pragma once
#include <algorithm>
#include <cstdio>
#include <sstream>
#include <vector>

#include "common/log/error_name.h"
#include "common/log/logger.h"

/// The text with its control characters in octal.
inline std::string Escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        char octal[5] = {byte};
        if ((byte >= 0 && byte < ' ') || byte == 0x7F) snprintf(octal, sizeof octal, "\\%03o", byte);
        escaped += octal;
    }
    return escaped;
}

/// A name in a message: in quotes, escaped.
inline std::string Quote(std::string_view name) { return "'" + Escape(name) + "'"; }

/// Prints why the program does not go on. Returns false, for the caller to pass on.
bool PrintError(const auto&... words) {
    ((LogPlain() << "qvpost-list: ") << ... << words) << "\n";
    return false;
}

/// The same for a call that failed with an errno: cannot <action> '<name>': <its text>
inline bool PrintFileError(const char* action, std::string_view name, int error) {
    return PrintError("cannot ", action, " ", Quote(name), ": ", ErrorString(error));
}

/// What is wrong with a list or a record, in the form of a compiler: LIST:3: source '/a' is missing
class Diagnostics {
public:
    explicit Diagnostics(std::string file) : file_(std::move(file)) {}

    void Error(int line, const auto&... words) {
        Add(line, words...);
        hasErrors_ = true;
    }
    void Warning(int line, const auto&... words) { Add(line, "warning: ", words...); }
    /// Writes all in the order of the lines. Returns whether there was no error.
    bool Print() {
        std::sort(found_.begin(), found_.end());
        for (const auto& [line, text] : found_) LogPlain() << Escape(file_) << ":" << line << ": " << text << "\n";
        return !hasErrors_;
    }

private:
    void Add(int line, const auto&... words) {
        std::ostringstream text;
        (text << ... << words);
        found_.emplace_back(line, Escape(text.str()));
    }

    const std::string file_;
    std::vector<std::pair<int, std::string>> found_;
    bool hasErrors_ = false;
};
