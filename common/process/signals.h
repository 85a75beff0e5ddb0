// Signal handlers, masks and timers, and the names of signals. The mask belongs to the calling thread, everything else
// to the process; any thread may call. Records, sets and texts belong to the caller. A failure writes one ordinary
// line, such as "Signal: ERROR! Call to sigaction failed. Error is 22 'Invalid argument'."
#pragma once
#include <sys/time.h>

#include <csignal>

#include "common/util/large_types.h"

class Logger;

/// pthread_sigmask(3) on the calling thread; set and old may be null. 0, or its error number after a log line; errno
/// stays.
int SignalMask(int how, const sigset_t* set, sigset_t* old);

/// sigaction(2); action and old may be null. 0, or -1 with errno and a log line.
int SignalSetAction(int signal, const struct sigaction* action, struct sigaction* old);

/// setitimer(2); old may be null. 0, or -1 with errno and a log line.
int SignalSetTimer(int timer, const struct itimerval* value, struct itimerval* old);

/// signal(2). The previous handler, or null with errno and a log line; null is SIG_DFL as well.
void (*SignalSetHandler(int signal, void (*handler)(int)))(int);

/// Set every byte of the record to zero: SIG_DFL, empty mask, no flags; a disarmed timer.
void SignalClearAction(struct sigaction* action);
void SignalClearTimer(struct itimerval* timer);

/// The name of a signal in the numbering of Linux (signal(7)), "None" for a number that has no name here: 0, negative
/// ones, 5, 7, 16, 23, 24, 25, 27 and all from 30 up. Static storage.
const char* SignalName(int signal);

/// "SIG_DFL", "SIG_IGN" or "User defined". Static storage.
const char* SignalHandlerName(void (*handler)(int));

/// SignalName of the signal that ended or stopped the child of a wait status.
const char* ProcessTermSignalName(int status);
const char* ProcessStopSignalName(int status);

/// Writes 22 ordinary lines "<label>/Signal: <number>, <name>\t" and "Yes" or "No", one for each signal that has a
/// name: whether the set (not null) holds it. A null label is "Signal", a null Logger the global one. Another thread's
/// text can fall between a name and the "Yes" or "No".
void SignalDumpSet(const sigset_t* set, const char* label, Logger* logger);
