// How the socket modules write a failure: each line on the ordinary stream behind "Socket: ERROR! ", and again on the
// level stream. For this folder only.
#pragma once
#include "common/log/error_is.h"
#include "common/log/logger.h"

template <class... Words>
void SocketReport(const Words&... words) {
    const KeptErrno kept;
    ((Log() << "Socket: ERROR! ") << ... << words) << ".\n";
    (LogError() << ... << words) << ".\n";
}

/// The words in one line and the error of the call that has just failed in the next; errno stays.
template <class... Words>
void SocketReportFailure(const Words&... words) {
    const KeptErrno error;
    SocketReport(words...);
    SocketReport(ErrorIs{error.number});
}
