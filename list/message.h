// What the program says on the standard error: a line a thing.
#pragma once
#include <string>

#include "common/log/error_name.h"
#include "common/log/logger.h"

/// The version of the program.
extern const char kListVersion[];

/// A name in a message: in quotes, its control characters in octal, so that the message stays one line.
struct Quoted {
    const char* name;
};
std::ostream& operator<<(std::ostream& out, Quoted quoted);

/// The same, behind a text.
std::string& operator+=(std::string& text, Quoted quoted);

/// Says why the program doesn't go on. Returns false, for the caller to pass on.
template <class... Words>
bool Refuse(const Words&... words) {
    ((LogPlain() << "qvpost-list: ") << ... << words) << "\n";
    return false;
}

/// The same for a call that failed with an errno: can't <what> '<name>': <its text>
inline bool RefuseFile(const char* what, const char* name, int error) {
    return Refuse("can't ", what, " ", Quoted{name}, ": ", ErrorString(error));
}
