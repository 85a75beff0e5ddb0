// A connected pair of local stream sockets, used as a two-way pipe between threads or with a child.
#pragma once

/// Makes the pair in pair[0] and pair[1], both close-on-exec, with send and receive buffers of size bytes on both ends.
/// The ends are equal; clear close-on-exec (SocketSetNoInherit) on the one that a child is to inherit. Call it before
/// the descriptors are shared. Returns 0; or -1 with errno, two log lines, nothing open and -1 in both slots. A buffer
/// size that the system refuses is logged, and the pair returned all the same. The caller closes the two descriptors.
int SocketPipe(int* pair, int size);
