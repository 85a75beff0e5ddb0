#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/tcp.h>

#include "common/io/file.h"
#include "common/io/socket_address.h"
#include "common/io/socket_options.h"
#include "common/io/socket_pipe.h"
#include "common/io/socket_system.h"
#include "common/log/logger.h"
#include "tests/common/failing_calls.h"
#include "tests/support/transcript.h"

namespace {

TEST(File, PathsAreJoinedAndAskedAbout) {
    const CurrentFolder folder;
    WriteFile("ten", "0123456789");
    SHOW(Owned{FileJoinPath("/tmp/", "a")});       // = "/tmp//a"
    SHOW(Owned{FileJoinPath("", "a")});            // = "a"
    SHOW(Owned{FileJoinPath(nullptr, "a")});       // = "a"
    SHOW(Owned{FileJoinPath("d", "")});            // = null
    SHOW(FileIsEntity(".", "ten"));                // = 1
    SHOW(FileIsEntity(nullptr, "none"));           // = 0 ENOENT
    SHOW(FileIsEntity(nullptr, "ten/x"));          // = -1 ENOTDIR
    SHOW(FileIsDirectory(nullptr, "."));           // = 1
    SHOW(FileIsDirectory(nullptr, "ten"));         // = 0
    SHOW(FileIsDirectory(nullptr, "none"));        // = 0 ENOENT
    SHOW(FileIsRegular(nullptr, "ten"));           // = 1
    SHOW(FileIsRegular(nullptr, "."));             // = 0
    SHOW(FileIsRegular("/dev", "null"));           // = 0
    SHOW(FileGetSize(nullptr, "ten"));             // = 10
    SHOW(FileGetSize(nullptr, "none"));            // = 0 ENOENT
    SHOW(FileGetSize(nullptr, "."));               // = -1 EINVAL
    SHOW(FileIsAccessible(nullptr, "ten", R_OK));  // = 1
    SHOW(FileIsAccessible(".", "", F_OK));         // = 0 EFAULT
    SHOW(FileChangeOwner("ten", ~0U, ~0U));        // = 1
    SHOW(FileChangeOwner(nullptr, 0, 0));          // = -1 EFAULT
    // | @ File: ERROR! Can't change ownership of 'nil'.
    // | @ File: ERROR! Error is 14, Bad address.
    SHOW(FileHasPathPrefix("/"));     // = 1
    SHOW(FileHasPathPrefix("../"));   // = 0
    SHOW(FileHasPathPrefix("../x"));  // = 1
    SHOW(FileHasPathPrefix("abcd"));  // = 0
}

TEST(File, LinesAreReadAndStringsWrittenPieceByPiece) {
    int ends[2], count = 0;
    char text[16];
    SHOW(FilePipe(ends, 4096), fcntl(ends[1], F_GETPIPE_SZ));  // = 1 4096
    SHOW(FileSetPipeSize(ends[0], -1));                        // = 0 EINVAL
    SHOW(FileSetPipeSize(-1, 4096));                           // = -1 EBADF
    mostWritten = 3;
    SHOW((Failing("write", EINTR, 1), FileWriteString(ends[1], "ab\nlong\ncd")));  // = 10 EINTR
    mostWritten = 1;
    SHOW((Failing("write", EAGAIN, 1), FileWriteString(ends[1], "ef")));  // = 1 EAGAIN
    SHOW((Failing("write", EIO, 1), FileWriteString(ends[1], "gh")));     // = 1 EIO
    SHOW((Failing("write", EIO), FileWriteString(ends[1], "ij")));        // = -1 EIO
    mostWritten = SIZE_MAX;
    SHOW(FileWriteString(ends[1], nullptr));             // = -1 EFAULT
    SHOW(FileGetBytesReadable(ends[0], &count), count);  // = 0 12
    SHOW(FileGetBytesReadable(-1, &count), count);       // = -1 EBADF 12
    SHOW(FileGetBytesReadable(ends[0]));                 // = 12
    close(ends[1]);
    SHOW(FileReadLine(ends[0], text, 1));                                             // = null
    SHOW((Failing("read", EINTR, 1), FileReadLine(ends[0], text, 16)) - text, text);  // = 3 EINTR "ab\x0A"
    SHOW(FileReadLine(ends[0], text, 4) - text, text);                                // = 3 "lon"
    SHOW(FileReadLine(ends[0], text, 2) - text, text);                                // = 1 "g"
    SHOW((Failing("read", EISDIR), FileReadLine(ends[0], text, 16)));                 // = null EISDIR
    SHOW(FileReadLine(ends[0], text, 16) - text, text);                               // = 1 "\x0A"
    SHOW(FileReadLine(ends[0], text, 16) - text, text);                               // = 4 EIO "cdeg"
    SHOW(FileReadLine(ends[0], text, 16));                                            // = null EIO
    close(ends[0]);
    SHOW(FileGetBytesWritable(3));  // = -1 ENOSYS
    // | @ File: WARNING! Can't query the bytes writable to FD#3.
}

constexpr int kTcp = 70, kLocal = 71;

// A descriptor under a number that is the same in every run.
struct At {
    At(int given, int descriptor) : number(given) {
        dup2(descriptor, number);
        close(descriptor);
    }
    ~At() { close(number); }
    const int number;
};

int Option(int level, int name) {
    linger value{};
    socklen_t length = sizeof value;
    getsockopt(kTcp, level, name, &value, &length);
    return value.l_onoff + value.l_linger;
}

TEST(SocketOptions, AreSet) {
    const At tcp(kTcp, socket(AF_INET, SOCK_STREAM, 0));
    SocketSystemSupport = 5;
    SHOW(SocketSetNonBlocking(kTcp, 7), fcntl(kTcp, F_GETFL) & O_NONBLOCK);    // = 1 2048
    SHOW(SocketGetOption(kTcp, SocketOptionNonBlocking));                      // = 1
    SHOW((Failing("fcntl", EIO, 1), SocketSetNonBlocking(kTcp, 1)));           // = 1
    SHOW(SocketSetNonBlocking(kTcp, 0), fcntl(kTcp, F_GETFL) & O_NONBLOCK);    // = 1 0
    SHOW(SocketGetOption(kTcp, SocketOptionNonBlocking));                      // = 0
    SHOW(SocketSetNoInherit(kTcp, 1), fcntl(kTcp, F_GETFD));                   // = 1 1
    SHOW(SocketSetNoDelay(kTcp, 1), Option(IPPROTO_TCP, TCP_NODELAY));         // = 1 1
    SHOW(SocketGetOption(kTcp, SocketOptionNoDelay));                          // = 1
    SHOW(SocketSetCork(kTcp, 1), Option(IPPROTO_TCP, TCP_CORK));               // = 1 1
    SHOW(SocketSetQuickAck(kTcp, 0), Option(IPPROTO_TCP, TCP_QUICKACK));       // = 1 0
    SHOW(SocketSetReceiveBuffer(kTcp, 65536), Option(SOL_SOCKET, SO_RCVBUF));  // = 1 131072
    SHOW(SocketSetSendBuffer(kTcp, 32768), Option(SOL_SOCKET, SO_SNDBUF));     // = 1 65536
    SHOW(SocketSetLowDelay(kTcp), Option(IPPROTO_IP, IP_TOS));                 // = 1 16
    SHOW(SocketSetKeepAlive(kTcp, 1), Option(SOL_SOCKET, SO_KEEPALIVE));       // = 1 1
    SHOW(SocketSetReuseAddress(kTcp, 1), Option(SOL_SOCKET, SO_REUSEADDR));    // = 1 1
    SHOW(SocketSetLinger(kTcp, 1), Option(SOL_SOCKET, SO_LINGER));             // = 1 2
    SHOW(SocketSetLinger(kTcp, 0), Option(SOL_SOCKET, SO_LINGER));             // = 1 1
    SHOW(SocketGetError(kTcp));                                                // = 0
}

TEST(SocketOptions, AreMissingSilentlyAndFailOnBothStreams) {
    SocketSystemSupport = 0;
    SHOW(SocketSetLowDelay(-1));  // = 0
    SocketSystemSupport = 2;
    SHOW(SocketSetCork(-1, 1));        // = 0
    SHOW(SocketGetBytesQueued(-1));    // = -1 ENOSYS
    SHOW(SocketGetBytesWritable(-1));  // = -1 ENOSYS
    SocketSystemSupport = 3;
    SHOW((Failing("setsockopt", ENOPROTOOPT), SocketSetNoDelay(-1, 1)));  // = -1 ENOPROTOOPT
    SHOW((Failing("setsockopt", EOPNOTSUPP), SocketSetLowDelay(-1)));     // = -1 EOPNOTSUPP
    SHOW(SocketSetLowDelay(-1));                                          // = -1 EBADF
    // | @ Socket: WARNING! Failed to set IPTOS_LOWDELAY on FD#-1 to 16. Error is 9 'Bad file descriptor'.
    // | Warning: Failed to set IPTOS_LOWDELAY on FD#-1 to 16. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetCork(-1, 1));  // = -1 EBADF
    // | @ Socket: ERROR! Failed to set TCP_CORK to 1 on FD#-1.
    // | @ Socket: ERROR! Error is 9 'Bad file descriptor'.
    // | Error: Failed to set TCP_CORK to 1 on FD#-1.
    // | Error: Error is 9 'Bad file descriptor'.
    SHOW(SocketGetOption(0, 1));  // = -1 ENOSYS
    // | @ Socket: WARNING! Query for option 1 not implemented.
    // | @ Socket: ERROR! Query failed for option 1 on FD#0.
    // | Error: Query failed for option 1 on FD#0.
    // | @ Socket: ERROR! Error is 38 'Function not implemented'.
    // | Error: Error is 38 'Function not implemented'.
    logger_.mode_ = 2;                  // of the others the level lines alone
    SHOW(SocketSetNonBlocking(-1, 1));  // = -1 EBADF
    // | Error: Can't set non-blocking mode on FD#-1 to 1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetNoInherit(-1, 1));  // = -1 EBADF
    // | Error: Can't set no-inherit mode on FD#-1 to 1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetNoDelay(-1, 1));  // = -1 EBADF
    // | Error: Can't set no-delay mode on FD#-1 to 1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetQuickAck(-1, 1));  // = -1 EBADF
    // | Error: Failed to set TCP_QUICKACK to 1 on FD#-1.
    // | Error: Error is 9 'Bad file descriptor'.
    SHOW(SocketSetReceiveBuffer(-1, 8));  // = -1 EBADF
    // | Error: Failed to set SO_RCVBUF size to 8 on FD#-1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetSendBuffer(-1, 8));  // = -1 EBADF
    // | Error: Failed to set SO_SNDBUF size to 8 on FD#-1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetKeepAlive(-1, 1));  // = -1 EBADF
    // | Error: Failed to set SO_KEEPALIVE on FD#-1 to 1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetLinger(-1, 5));  // = -1 EBADF
    // | Error: Failed to set SO_LINGER values to 1 and 5 on FD#-1. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetReuseAddress(-1, 1));  // = -1 EBADF
    // | Error: Failed to set SO_REUSEADDR on FD#-1 to 1. Error is 9 'Bad file descriptor'.
    SHOW(SocketGetBytesReadable(-1));  // = -1 EBADF
    SHOW(SocketGetBytesQueued(-1));    // = -1 EBADF
    // | Error: Failed to get bytes queued on FD#-1. Error is 9 'Bad file descriptor'.
    SHOW(SocketGetError(-1));  // = -1 EBADF
    // | Error: Failed to get the SO_ERROR option for FD#-1. Error is 9 'Bad file descriptor'.
    logger_.mode_ = 1;
}

TEST(SocketPipe, IsAPairOrNothing) {
    int pair[2];
    SocketSystemSupport = 3;
    SHOW((Failing("socketpair", EMFILE), SocketPipe(pair, 65536)));  // = -1 EMFILE
    // | @ Socket: ERROR! Can't create the socket pipe. Error is 24 'Too many open files'.
    // | Error: Can't create the socket pipe. Error is 24 'Too many open files'.
    logger_.mode_ = 0;  // the lines show numbers of descriptors
    SHOW((Failing("fcntl", EPERM, 1), SocketPipe(pair, 65536)), pair[0], pair[1]);  // = -1 EPERM -1 -1
    logger_.mode_ = 1;
    ASSERT_EQ(SocketPipe(pair, 65536), 0);
    const At one(kTcp, pair[0]), other(kLocal, pair[1]);
    SHOW(Option(SOL_SOCKET, SO_RCVBUF), Option(SOL_SOCKET, SO_SNDBUF));                               // = 131072 131072
    SHOW(FileWriteString(kTcp, "text"));                                                              // = 4
    SHOW(SocketGetBytesReadable(kLocal));                                                             // = 4
    SHOW(SocketGetBytesWritable(kLocal), SocketGetBytesQueued(kLocal));                               // = 114688 0
    SHOW(SocketGetBytesWritable(kTcp) + SocketGetBytesQueued(kTcp), SocketGetBytesQueued(kTcp) > 0);  // = 114688 1
    SHOW(SocketSetSendBuffer(kTcp, 1), SocketGetBytesWritable(kTcp));                                 // = 1 0
}

int Level(const char* name, const char* release) {
    systemName = name;
    systemRelease = release;
    SocketSystemSupport = -1;
    SocketSystemInit();
    return SocketSystemSupport;
}

TEST(SocketSystem, LevelFollowsNameAndRelease) {
    SHOW(Level("Linux", "2.2."));                              // = 2
    SHOW(Level("Linux", "2.4.37"));                            // = 3
    SHOW(Level("Linux", "2.8.0"));                             // = 4
    SHOW(Level("Linux", "2.6"));                               // = 5
    SHOW(Level("SunOS", "5"));                                 // = 1
    SHOW(Level("linux", "2.6.1"));                             // = 0
    SHOW(SocketSystemInit(), SocketSystemSupport);             // = 1 0
    SHOW((Failing("uname", EFAULT), Level("Linux", "2.6.")));  // = 0 EFAULT
    // | @ Socket: WARNING! Failed to get system info. Error is 14 'Bad address'.
    // | @ Socket: WARNING! Assuming lowest system support.
    // | Warning: Failed to get system info. Error is 14 'Bad address'.
    // | Warning: Assuming lowest system support.
}

uint32_t Unresolved(int error) {
    const Failing failing("gethostbyname", error);
    return SocketResolveAddress("host");
}

TEST(SocketAddress, IsLookedUp) {
    SHOW(SocketResolveText("127.0.0.1"));                                               // = "127.0.0.1"
    SHOW(SocketAddressToText(inet_addr("10.1.2.3")));                                   // = "10.1.2.3"
    SHOW((Failing("gethostbyname", TRY_AGAIN), SocketResolveText("255.255.255.254")));  // = "255.255.255.254" ENOENT
    SHOW((Failing("gethostbyaddr", NO_RECOVERY), SocketResolveName("10.1.2.3")));       // = null ESRCH
    // | @ Socket: ERROR! Failed to resolve address '10.1.2.3'.
    // | Error: Failed to resolve address '10.1.2.3'.
    // | @ Socket: ERROR! Error is 3 'Non-recoverable name server error'.
    // | Error: Error is 3 'Non-recoverable name server error'.
    SHOW(SocketResolveName(nullptr));  // = null
    // | @ Socket: ERROR! Wrong IPv4 dotted-decimal address 'nil'.
    // | Error: Wrong IPv4 dotted-decimal address 'nil'.
    SHOW(SocketResolveAddress(""));    // = 0 EADDRNOTAVAIL
    logger_.mode_ = 2;                 // of the others the level lines alone
    SHOW(Unresolved(HOST_NOT_FOUND));  // = 0 EADDRNOTAVAIL
    // | Error: Failed to resolve address 'host'.
    // | Error: Error is 1 'The specified host is unknown'.
    SHOW(Unresolved(TRY_AGAIN));  // = 0 EADDRNOTAVAIL
    // | Error: Failed to resolve address 'host'.
    // | Error: Error is 2 'Temporary name server error'.
    SHOW(Unresolved(NO_DATA));  // = 0 EADDRNOTAVAIL
    // | Error: Failed to resolve address 'host'.
    // | Error: Error is 4 'Host does not have an IP address'.
    SHOW(Unresolved(EMFILE));  // = 0 EADDRNOTAVAIL
    // | Error: Failed to resolve address 'host'.
    // | Error: Error is 24 'Too many open files'.
    SHOW(Unresolved(77));  // = 0 EADDRNOTAVAIL
    // | Error: Failed to resolve address 'host'.
    // | Error: Error is 77 'Unknown'.
    logger_.mode_ = 1;
    SHOW(SocketIsNumericAddress("::1"));      // = 1
    SHOW(SocketIsNumericAddress("fe80::1"));  // = 0
    SHOW(SocketIsNumericAddress(""));         // = -1
}

TEST(SocketAddress, OfBothEndsIsTold) {
    sockaddr_storage address{};
    address.ss_family = AF_INET6;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof(sockaddr_in6);
    const At listener(kLocal, socket(AF_INET6, SOCK_STREAM, 0)), client(kTcp, socket(AF_INET6, SOCK_STREAM, 0));
    bind(kLocal, any, length);
    listen(kLocal, 1);
    Owned local, remote;
    int localPort, remotePort;
    SHOW(SocketGetNetworkInfo(kLocal, local, &localPort, remote, &remotePort), local, remote,
         remotePort);  // = -1 ENOTCONN "::" "UNKNOWN" -1
    // | @ Socket: ERROR! Can't get the remote host info for FD#71.
    // | Error: Can't get the remote host info for FD#71.
    // | @ Socket: ERROR! Error is 107 'Transport endpoint is not connected'.
    // | Error: Error is 107 'Transport endpoint is not connected'.
    // | @ Socket: ERROR! Can't get the remote host for FD#71.
    // | Error: Can't get the remote host for FD#71.
    // | @ Socket: ERROR! Error is 107 'Transport endpoint is not connected'.
    // | Error: Error is 107 'Transport endpoint is not connected'.
    // | @ Socket: ERROR! Failed to collect network information for FD#71.
    // | Error: Failed to collect network information for FD#71.
    getsockname(kLocal, any, &length);
    inet_pton(AF_INET6, "::ffff:127.0.0.1", &reinterpret_cast<sockaddr_in6*>(&address)->sin6_addr);
    connect(kTcp, any, length);
    local = nullptr;
    remote = nullptr;
    SHOW(SocketGetNetworkInfo(kTcp, local, &localPort, remote, &remotePort), local, remote,
         remotePort - SocketGetPort(kLocal, 1), localPort > 0);              // = 1 "127.0.0.1" "127.0.0.1" 0 1
    SHOW(SocketUnmapAddress(&address, &length), length, address.ss_family);  // = 16 2
}

}  // namespace
