// Keeps an error number across log lines and inserts it into them. Header only; any thread may use it.
#pragma once
#include <cerrno>
#include <ostream>

#include "common/log/error_name.h"
#include "common/util/string_owned.h"

/// Reads errno when the object is made and restores it at the end of the scope. Log lines in between may change errno:
/// the first one may load the time zone, and every write to a dead standard error fails.
struct ErrnoRestorer {
    ErrnoRestorer() = default;
    ~ErrnoRestorer() { errno = number; }
    ErrnoRestorer(const ErrnoRestorer&) = delete;
    ErrnoRestorer& operator=(const ErrnoRestorer&) = delete;

    const int number = errno;
};

/// The forms in which the modules write a number and its text.
enum class ErrorForm {
    TextQuoted,   ///< Error is 9 'Bad file descriptor'
    CommaPlain,   ///< Error is 9, Bad file descriptor
    CommaQuoted,  ///< Error is 9, 'Bad file descriptor'
    BothQuoted,   ///< Error is '9', 'Bad file descriptor'
};

/// Inserts an error number with its text (ErrorString) in one of the forms above; "nil" stands for a missing text.
struct ErrorIs {
    int number;
    ErrorForm form = ErrorForm::TextQuoted;
};

inline std::ostream& operator<<(std::ostream& out, ErrorIs error) {
    static constexpr struct {
        const char *open, *middle, *close;
    } kPieces[] = {
        {"Error is ", " '", "'"}, {"Error is ", ", ", ""}, {"Error is ", ", '", "'"}, {"Error is '", "', '", "'"}};
    const auto& pieces = kPieces[static_cast<int>(error.form)];
    return out << pieces.open << error.number << pieces.middle << StringOrNil(ErrorString(error.number))
               << pieces.close;
}
