// Names, IPv4 addresses and the two ends of a socket. An address is a 32-bit number in network byte order. Failures are
// written on the ordinary stream and again on the level stream. Linking the look-ups pulls in the system resolver,
// which a fully static program cannot serve.
//
// An operation that fails leaves in errno what its entry states, or the number of the call that failed. The resolver
// and getnameinfo(3) may fail without one: errno then means nothing and may be 0. The log lines of a failed look-up
// show h_errno(3).
//
// Threads: SocketResolveAddress, SocketResolveName and SocketResolveText use resolver calls that are not reentrant, and
// the entries that return texts share storage which the next call overwrites: callers on more than one thread serialise
// these calls and copy the results. SocketGetPort, SocketGetHost and SocketGetNetworkInfo may be called from any
// thread.
#pragma once
#include <sys/socket.h>

#include <cstdint>

/// The address of a host name or dotted text, by gethostbyname(3), then inet_addr(3). 0 with errno EADDRNOTAVAIL and
/// four log lines when it cannot be resolved; without a line for a null or empty name.
uint32_t SocketResolveAddress(const char* name);

/// The official name of the host with a dotted address, in the resolver's storage. Null after two log lines for a text
/// that is not an address (null, and 255.255.255.255, which inet_addr returns for an error), after four when it has no
/// name.
const char* SocketResolveName(const char* text);

/// SocketFormatAddress of SocketResolveAddress, with its lines and errno: "0.0.0.0" when the name cannot be resolved.
const char* SocketResolveText(const char* name);

/// The dotted text of an address, in a buffer of this function's own that all threads share.
const char* SocketFormatAddress(uint32_t address);

/// inet_ntoa(3) of an address: the same text in the C library's storage.
const char* SocketAddressToText(uint32_t address);

/// 1 when text holds digits, '.' and ':' alone, 0 at any other character, -1 for a null or empty text. "fe80::1" is 0:
/// only the characters are checked.
int SocketIsNumericAddress(const char* text);

/// Rewrites an IPv4-mapped IPv6 address (::ffff:a.b.c.d, RFC 4291) as the IPv4 address that it maps and sets *length to
/// 16; leaves any other alone.
void SocketUnmapAddress(struct sockaddr_storage* address, socklen_t* length);

/// The port of the socket's local end (local non-zero) or of its peer; -1 with errno and four log lines. A local (Unix)
/// socket has the number that its path begins with, else 0.
int SocketGetPort(int descriptor, int local);

/// The numeric address of that end as a new[] text that the caller frees with delete[], a mapped IPv4 peer in dotted
/// form, "localhost" for a local (Unix) socket; null with errno and four log lines.
char* SocketGetHost(int descriptor, int local);

/// All four at once. The caller owns both host texts in every case; an unknown one reads "UNKNOWN", an unknown port -1.
/// 1, or -1 with errno when a port is missing, after the four lines of each unknown value and two of its own.
int SocketGetNetworkInfo(int descriptor, char** localHost, int* localPort, char** remoteHost, int* remotePort);
