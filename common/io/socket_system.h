// The support level of the running system, read once by uname(2). Some socket options need a level (socket_options.h).
#pragma once

/// -1 not read yet; 0 lowest support (an unknown system, or uname failed); 1 SunOS; 2 Linux 2.0 or 2.2; 3 Linux 2.4; 4
/// Linux 2.6 or 2.8; 5 any other Linux. Read without a lock.
extern int SocketSystemSupport;

/// Reads the level unless that was done. Returns 1. Call it on one thread, before others use socket options.
int SocketSystemInit();

/// Returns 1; the level stays.
int SocketSystemCleanup();

/// Reads the level, also a second time. On failure the level is 0, after four warning lines.
void SocketSystemProbe();
