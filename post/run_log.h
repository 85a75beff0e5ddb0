// The lines of the run's log.
#pragma once
#include "common/log/error_is.h"
#include "common/log/logger.h"

/// One line: Line() << "PostMain: …\n", or Line(LogError) << … for a level line. It holds the Logger's mutex to the end
/// of its statement, so that the lines of the two threads never tear, as the entries alone would let them.
class Line {
public:
    explicit Line(std::ostream& (*entry)() = Log) : scope_(Logger::mutex_), out_(entry()) {}

    template <class Value>
    const Line& operator<<(const Value& value) const {
        out_ << value;
        return *this;
    }

private:
    const MutexScope scope_;
    std::ostream& out_;
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
