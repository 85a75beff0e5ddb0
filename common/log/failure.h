// How the library writes that a call has failed: what could not be done, and the error, which is errno as the call left
// it. Each line is a contract with those who read logs; in what the modules differ are the values below. For the
// library itself.
#pragma once
#include "common/log/error_is.h"
#include "common/log/logger.h"

/// Where the error stands, and in which order the lines come when they are written on the level stream too.
enum class FailureLines {
    One,     ///< "<words>. Error is …." on the ordinary stream, then on the level stream
    Two,     ///< "<words>." and "Error is …." on the ordinary stream, then both on the level stream
    InTurn,  ///< "<words>." on the one and on the other, then "Error is …." on the one and on the other; needs both
};

struct FailureStyle {
    const char* opening;  ///< of an ordinary line: "Process: ERROR! "
    FailureLines lines = FailureLines::Two;
    ErrorForm form = ErrorForm::TextQuoted;
    std::ostream& (*level)() = nullptr;  ///< LogError or LogWarning; null writes on the ordinary stream alone
    const char* errorOpening = opening;  ///< of an ordinary line that begins with the error
};

/// Writes about the call that has just failed. Returns -1 with errno as it came.
template <class... Words>
int LogFailedCall(const FailureStyle& style, const Words&... words) {
    const ErrnoRestorer error;
    const ErrorIs is{error.number, style.form};
    const auto write = [](std::ostream& out, const auto&... pieces) { (out << ... << pieces) << ".\n"; };
    switch (style.lines) {
        case FailureLines::One:
            write(Log(), style.opening, words..., ". ", is);
            if (style.level != nullptr) write(style.level(), words..., ". ", is);
            break;
        case FailureLines::Two:
            write(Log(), style.opening, words...);
            write(Log(), style.errorOpening, is);
            if (style.level == nullptr) break;
            write(style.level(), words...);
            write(style.level(), is);
            break;
        case FailureLines::InTurn:
            write(Log(), style.opening, words...);
            write(style.level(), words...);
            write(Log(), style.errorOpening, is);
            write(style.level(), is);
            break;
    }
    return -1;
}
