// Writes the lines of a failed call: the operation, and the error, which is errno as the call left it. Readers of logs
// rely on each line; the values below state how the modules differ. For the library itself.
#pragma once
#include "common/log/error_is.h"
#include "common/log/logger.h"

/// The position of the error, and the order of the lines when they are written on the level stream too.
enum class FailureLines {
    One,     ///< "<words>. Error is …." on the ordinary stream, then on the level stream
    Two,     ///< "<words>." and "Error is …." on the ordinary stream, then both on the level stream
    InTurn,  ///< "<words>." on the ordinary and the level stream, then "Error is …." on both; needs level
};

struct FailureStyle {
    const char* opening;  ///< of an ordinary line: "Process: ERROR! "
    FailureLines lines = FailureLines::Two;
    ErrorForm form = ErrorForm::TextQuoted;
    std::ostream& (*level)() = nullptr;  ///< LogError or LogWarning; null writes on the ordinary stream alone
    const char* errorOpening = opening;  ///< of an ordinary line that begins with the error
};

/// Writes the lines of the call that has just failed. Returns -1 with errno unchanged.
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
