// The lines of the run's log.
#pragma once
#include <type_traits>

#include "common/log/error_is.h"
#include "common/log/logger.h"
#include "common/util/string_owned.h"

/// One line: Line() << "PostMain: …\n", or Line(LogError) << … for a level line. It holds the Logger's mutex to the end
/// of its statement, so that lines of the two threads do not interleave. The last text ends with a newline.
class Line {
public:
    explicit Line(std::ostream& (*entry)() = Log) : scope_(Logger::mutex_), out_((Recover(), entry())) {}

    template <class Value>
    Line& operator<<(const Value& value) {
        if constexpr (std::is_convertible_v<const Value&, const char*>) {
            out_ << StringOrNil(value);
        } else {
            out_ << value;
        }
        return *this;
    }

private:
    // After a full disk later lines are written again; only the lines that met it are lost.
    static void Recover() {
        for (std::ostream* out : {logger_.logStream_, logger_.errorStream_}) {
            if (!out->good()) out->clear();
        }
    }

    const MutexLock scope_;
    std::ostream& out_;
};

/// The form of an error in the application's lines: Error is 2, 'No such file or directory'
inline ErrorIs RunErrorIs(int error) { return {error, ErrorForm::CommaQuoted}; }

/// Logs a failure in two adjacent level lines: "<words>." and the error. Returns the error.
template <class... Words>
int LogFailure(int error, const Words&... words) {
    const MutexLock together(Logger::mutex_);
    (Line(LogError) << ... << words) << ".\n";
    Line(LogError) << RunErrorIs(error) << ".\n";
    return error;
}
