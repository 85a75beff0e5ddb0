// How the socket modules write: each line on the ordinary stream, and again on the level stream. For this folder only.
#pragma once
#include "common/log/failure.h"

/// A failure whose error has lines of its own.
constexpr FailureStyle kSocketFailure{.opening = "Socket: ERROR! ", .lines = FailureLines::InTurn, .level = LogError};

/// A line about something that is no failed call; errno stays.
template <class... Words>
void SocketReport(const Words&... words) {
    const ErrnoRestorer kept;
    ((Log() << kSocketFailure.opening) << ... << words) << ".\n";
    (LogError() << ... << words) << ".\n";
}
