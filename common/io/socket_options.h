// Modes of descriptors, options of sockets, and byte counts. Stateless; any thread may call. descriptor is never
// closed.
//
// Setters return 1 when the option is set; 0, without a call or a line, when the system lacks it (SocketSystemSupport
// is below the level named here, as always before SocketSystemInit); -1 with errno on failure. A failure is written on
// the ordinary stream and again on the level stream, unless an entry says that it is silent. 1 is on and 0 is off;
// unless an entry says otherwise, every other value is passed to the system unchanged. SocketSystemInit is in
// socket_system.h.
#pragma once

/// O_NONBLOCK of the status flags (fcntl(2)). Any value but 0 is on. One call when value, 0 or 1, is already the mode,
/// else two.
int SocketSetNonBlocking(int descriptor, int value);

/// The whole descriptor-flags word: 1 (FD_CLOEXEC) closes the descriptor when a program is executed, 0 keeps it open.
int SocketSetNoInherit(int descriptor, int value);

/// TCP_NODELAY (tcp(7)). Silent for EOPNOTSUPP and ENOPROTOOPT: a local socket has no such option.
int SocketSetNoDelay(int descriptor, int value);

/// TCP_CORK. Needs level 3. Writes a failure in four lines.
int SocketSetCork(int descriptor, int value);

/// SO_RCVBUF and SO_SNDBUF in bytes (socket(7)). Linux limits the number (net.core.rmem_max, net.core.wmem_max),
/// doubles it and reports the double.
int SocketSetReceiveBuffer(int descriptor, int size);
int SocketSetSendBuffer(int descriptor, int size);

/// IP_TOS with IPTOS_LOWDELAY (ip(7)). Needs level 1. Its failure is a warning; silent for EOPNOTSUPP.
int SocketSetLowDelay(int descriptor);

/// SO_KEEPALIVE.
int SocketSetKeepAlive(int descriptor, int value);

/// SO_LINGER: on with so many seconds, off for 0 and less.
int SocketSetLinger(int descriptor, int seconds);

/// SO_REUSEADDR.
int SocketSetReuseAddress(int descriptor, int value);

/// TCP_QUICKACK. Needs level 3. Writes a failure in four lines. The system may clear it at any time.
int SocketSetQuickAck(int descriptor, int value);

/// The codes that SocketGetOption accepts.
enum { SocketOptionNonBlocking = 0, SocketOptionNoDelay = 2 };

/// The current value of an option, or -1 with errno and four log lines; ENOSYS, after one line more, for any other
/// code.
int SocketGetOption(int descriptor, int code);

/// Bytes that wait to be read (FIONREAD), or -1 with errno, silently.
int SocketGetBytesReadable(int descriptor);

/// Bytes that wait in the send queue (SIOCOUTQ), or -1 with errno and two log lines; silently ENOSYS below level 3.
int SocketGetBytesQueued(int descriptor);

/// Bytes that can be written before the send buffer is full: its size less 16384 and less the bytes queued, at least 0.
/// -1 with errno and two log lines; silently ENOSYS below level 3.
int SocketGetBytesWritable(int descriptor);

/// The socket's pending error number (SO_ERROR), which the call clears; 0 when none; -1 with errno and two log lines.
int SocketGetError(int descriptor);
