// Lines of the socket modules: each on the ordinary stream, and again on the level stream. For this directory only.
#pragma once
#include "common/log/failure.h"

/// A failure whose error has lines of its own.
constexpr FailureStyle kSocketFailure{.opening = "Socket: ERROR! ", .lines = FailureLines::InTurn, .level = LogError};

/// Writes a line that reports no failed call; errno stays.
template <class... Words>
void SocketReport(const Words&... words) {
    const ErrnoRestorer error;
    ((Log() << kSocketFailure.opening) << ... << words) << ".\n";
    (LogError() << ... << words) << ".\n";
}
