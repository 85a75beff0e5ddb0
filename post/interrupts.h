// The signals that reach the application from outside. They never end it at once: a terminal that is closed and a
// reader of the log that has gone change nothing, and a request to end is kept until the run can be ended in order.
#pragma once

/// Installs the handlers, each only where the disposition was the default. Children start with the dispositions and the
/// mask that this process was started with. A SIGCHLD that was ignored is set to its default, since no child could be
/// judged.
void PostMainInstallSignalHandlers();

/// The signal that requested the end of the run, or 0.
int PostMainPendingSignal();

/// Writes the line about that signal. Returns the error code of the run that it ends, EINTR.
int PostMainReportSignal();
