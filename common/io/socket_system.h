// What the running system supports: asked once, by uname(2), and compared against by the socket options that exist only
// on some systems (socket_options.h).
#pragma once

/// -1 not asked yet; 0 lowest support (an unknown system, or it could not be asked); 1 SunOS; 2 Linux 2.0 or 2.2; 3
/// Linux 2.4; 4 Linux 2.6 or 2.8; 5 any other Linux. Read without a lock.
extern int SocketSystemSupport;

/// Asks the system unless that was done. Returns 1. Call it on one thread, before others use socket options.
int SocketSystemInit();

/// Returns 1; the level stays.
int SocketSystemCleanup();

/// Asks the system, again if need be. When that fails the level is 0, after four warning lines.
void SocketSystemProbe();
