// The lines of the run's log.
#pragma once
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "common/log/error_is.h"
#include "common/log/logger.h"
#include "common/util/string_owned.h"

/// One line: Line() << "PostMain: …\n", or Line(LogError) << … for a level line. It holds the Logger's mutex to the end
/// of its statement, so that the lines of the two threads never tear, as the entries alone would let them. The last
/// text ends with a newline.
class Line {
public:
    explicit Line(std::ostream& (*entry)() = Log) : scope_(Logger::mutex_), out_((Recover(), entry())) {}

    template <class Value>
    Line& operator<<(const Value& value) {
        if constexpr (std::is_convertible_v<const Value&, const char*>) {
            Add(value);
        } else {
            Pass();
            out_ << value;
        }
        return *this;
    }

private:
    // A disk that was full for a moment must not silence the log: what was written then is lost, and no more.
    static void Recover() {
        for (std::ostream* out : {logger_.logStream_, logger_.errorStream_}) {
            if (!out->good()) out->clear();
        }
    }

    // The texts of a line go to the stream together: the C library looks for a newline in each piece that it is given,
    // from its end on, and so through all of one that has none.
    void Add(const char* given) {
        const std::string_view text = StringOrNil(given);
        if (text.size() > sizeof text_ - length_) Pass();
        if (text.size() > sizeof text_) {
            out_ << text;
            return;
        }
        length_ += text.copy(text_ + length_, text.size());
        if (text.ends_with('\n')) Pass();
    }

    void Pass() {
        out_.write(text_, static_cast<std::streamsize>(length_));
        length_ = 0;
    }

    const MutexScope scope_;
    std::ostream& out_;
    size_t length_ = 0;
    char text_[1024];
};

/// How the lines of the application write an error: Error is 2, 'No such file or directory'
inline ErrorIs RunErrorIs(int error) { return {error, ErrorForm::CommaQuoted}; }

/// A failure in two level lines that stay together, what happened and why: "<words>." and the error. Returns the error,
/// for the caller to pass on.
template <class... Words>
int LogFailure(int error, const Words&... words) {
    const MutexScope together(Logger::mutex_);
    (Line(LogError) << ... << words) << ".\n";
    Line(LogError) << RunErrorIs(error) << ".\n";
    return error;
}
