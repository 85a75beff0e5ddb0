// Signals from outside. None ends the application at once: the hang-up of the terminal and the exit of the log's reader
// are ignored, and a request to end is recorded until the run can end in order.
#pragma once

/// Installs each handler only where the disposition is the default. Children start with the dispositions and the mask
/// that this process started with. An ignored SIGCHLD is set to its default, so that statuses of children can be read.
void PostMainInstallSignalHandlers();

/// Returns the signal that requested the end of the run, or 0.
int PostMainPendingSignal();

/// Logs that signal. Returns EINTR, the error code of the run that it ends.
int PostMainReportSignal();
