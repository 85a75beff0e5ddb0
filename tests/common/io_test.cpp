#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/tcp.h>

#include "common/io/file.h"
#include "common/io/socket_address.h"
#include "common/io/socket_options.h"
#include "common/io/socket_pipe.h"
#include "common/io/socket_system.h"
#include "common/log/logger.h"
#include "tests/common/failing_calls.h"

TEST(File, PathsAreReadAndStringsWrittenPieceByPiece) {
    const TemporaryDirectory directory;
    WriteFile("ten", "0123456789");
    SHOW(Owned{FileJoinPath("/tmp/", "a")});                                                   // = "/tmp//a"
    SHOW(Owned{FileJoinPath(nullptr, "")});                                                    // = null
    SHOW(FileIsDirectory("", "."), FileIsRegular(".", "ten"), FileIsRegular("/dev", "null"));  // = 1 1 0
    SHOW(FileGetSize(nullptr, "."));                                                           // = -1 EINVAL
    SHOW(FileIsDirectory(".", ""));                                                            // = -1 EFAULT
    int ends[2], count = 0;
    char text[16];
    SHOW(FilePipe(ends, 4096), fcntl(ends[1], F_GETPIPE_SZ));  // = 1 4096
    mostWritten = 1;
    SHOW((Failing("write", EINTR, 1), FileWriteString(ends[1], "ab\nlong\ncd")));  // = 10 EINTR
    SHOW((Failing("write", EAGAIN), FileWriteString(ends[1], "ef")));              // = 0 EAGAIN
    SHOW((Failing("write", EIO, 1), FileWriteString(ends[1], "gh")));              // = 1 EIO
    mostWritten = SIZE_MAX;
    SHOW(FileGetBytesReadable(ends[0], &count), count);  // = 0 11
    close(ends[1]);
    SHOW((Failing("read", EINTR, 1), FileReadLine(ends[0], text, 16)) - text, text);  // = 3 EINTR "ab\n"
    SHOW(FileReadLine(ends[0], text, 5) - text, text);                                // = 4 "long"
    SHOW((Failing("read", EISDIR), FileReadLine(ends[0], text, 16)));                 // = null EISDIR
    SHOW(FileReadLine(ends[0], text, 2) - text, text);                                // = 1 "\n"
    SHOW(FileReadLine(ends[0], text, 16) - text, text);                               // = 3 EIO "cdg"
    SHOW(FileReadLine(ends[0], text, 16));                                            // = null EIO
    close(ends[0]);
}

static int Option(int descriptor, int level, int name) {
    int value = 0;
    socklen_t length = sizeof value;
    return getsockopt(descriptor, level, name, &value, &length), value;
}

static void FailAll() {
    for (const auto set :
         {SocketSetNonBlocking, SocketSetNoInherit, SocketSetNoDelay, SocketSetReceiveBuffer, SocketSetSendBuffer,
          SocketSetKeepAlive, SocketSetLinger, SocketSetReuseAddress, SocketSetQuickAck})
        EXPECT_EQ(set(-1, 5), -1);
    for (const auto get : {SocketGetBytesQueued, SocketGetError}) EXPECT_EQ(get(-1), -1);
}

static int Level(const char* name, const char* release) {
    systemName = name, systemRelease = release, SocketSystemSupport = -1;
    return SocketSystemInit(), SocketSystemSupport;
}

TEST(SocketOptions, AreSetOrMissingSilentlyOrFailOnBothStreams) {
    const int one = socket(AF_INET, SOCK_STREAM, 0);
    SocketSystemSupport = -1;
    SHOW(SocketSetNonBlocking(one, 7), fcntl(one, F_GETFL) & O_NONBLOCK, SocketGetOption(one, 0));   // = 1 2048 1
    SHOW(SocketSetNonBlocking(one, 0), fcntl(one, F_GETFL) & O_NONBLOCK, SocketGetOption(one, 0));   // = 1 0 0
    SHOW(SocketSetNoDelay(one, 1), Option(one, IPPROTO_TCP, TCP_NODELAY), SocketGetOption(one, 2));  // = 1 1 1
    SHOW(SocketSetReuseAddress(one, 1), Option(one, SOL_SOCKET, SO_REUSEADDR));                      // = 1 1
    SocketSystemSupport = 1;
    SHOW(SocketSetLowDelay(one), Option(one, IPPROTO_IP, IP_TOS));  // = 1 16
    SocketSystemSupport = 3;
    SHOW(SocketSetCork(one, 1), Option(one, IPPROTO_TCP, TCP_CORK));  // = 1 1
    close(one);
    SHOW(Level("Linux", "2.4.37"), Level("Linux", "2.6"), Level("linux", "2.6.1"), Level("SunOS", "5"));  // = 3 5 0 1
    SocketSystemSupport = 0;
    SHOW(SocketSetLowDelay(-1));  // = 0
    SocketSystemSupport = 2;
    SHOW(SocketSetCork(-1, 1), SocketGetBytesWritable(-1));  // = 0 -1
    SocketSystemSupport = 3;
    SHOW(SocketGetBytesReadable(-1));  // = -1 EBADF
    SHOW(SocketSetLowDelay(-1));       // = -1 EBADF
    // | @ Socket: WARNING! Failed to set IPTOS_LOWDELAY on FD#-1 to 16. Error is 9 'Bad file descriptor'.
    // | Warning: Failed to set IPTOS_LOWDELAY on FD#-1 to 16. Error is 9 'Bad file descriptor'.
    SHOW(SocketSetCork(-1, 1));  // = -1 EBADF | @ Socket: ERROR! Failed to set TCP_CORK to 1 on FD#-1.
    // | @ Socket: ERROR! Error is 9 'Bad file descriptor'. | Error: Failed to set TCP_CORK to 1 on FD#-1.
    // | Error: Error is 9 'Bad file descriptor'.
    SHOW(SocketGetOption(-1, 77));  // = -1 ENOSYS | @ Socket: WARNING! Query for option 77 not implemented.
    // | @ Socket: ERROR! Query failed for option 77 on FD#-1. | Error: Query failed for option 77 on FD#-1.
    // | @ Socket: ERROR! Error is 38 'Function not implemented'. | Error: Error is 38 'Function not implemented'.
    logger_.mode_ = 2;  // of the others the level lines alone
    SHOW(FailAll());    // = EBADF | Error: Can't set non-blocking mode on FD#-1 to 5. Error is 9 'Bad file descriptor'.
    // | Error: Can't set no-inherit mode on FD#-1 to 5. Error is 9 'Bad file descriptor'.
    // | Error: Can't set no-delay mode on FD#-1 to 5. Error is 9 'Bad file descriptor'.
    // | Error: Failed to set SO_RCVBUF size to 5 on FD#-1. Error is 9 'Bad file descriptor'.
    // | Error: Failed to set SO_SNDBUF size to 5 on FD#-1. Error is 9 'Bad file descriptor'.
    // | Error: Failed to set SO_KEEPALIVE on FD#-1 to 5. Error is 9 'Bad file descriptor'.
    // | Error: Failed to set SO_LINGER values to 1 and 5 on FD#-1. Error is 9 'Bad file descriptor'.
    // | Error: Failed to set SO_REUSEADDR on FD#-1 to 5. Error is 9 'Bad file descriptor'.
    // | Error: Failed to set TCP_QUICKACK to 5 on FD#-1. | Error: Error is 9 'Bad file descriptor'.
    // | Error: Failed to get bytes queued on FD#-1. Error is 9 'Bad file descriptor'.
    // | Error: Failed to get the SO_ERROR option for FD#-1. Error is 9 'Bad file descriptor'.
}

TEST(SocketPipe, IsAPairOrNothing) {
    int pair[2];
    SocketSystemSupport = 3;
    logger_.mode_ = 2;
    SHOW((Failing("socketpair", ENFILE), SocketPipe(pair, 65536)), pair[0], pair[1]);  // = -1 ENFILE -1 -1
    // | Error: Can't create the socket pipe. Error is 23 'Too many open files in system'.
    SHOW((Failing("fcntl", EPERM, 1), SocketPipe(pair, 65536)), pair[0], pair[1]);  // = -1 EPERM -1 -1
    // | Error: Can't set no-inherit mode on FD#N to 1. Error is 1 'Operation not permitted'.
    // | Error: Can't create the socket pipe. Error is 1 'Operation not permitted'.
    SHOW(SocketPipe(pair, 65536), fcntl(pair[0], F_GETFD), fcntl(pair[1], F_GETFD));       // = 0 1 1
    SHOW(Option(pair[0], SOL_SOCKET, SO_RCVBUF), Option(pair[1], SOL_SOCKET, SO_RCVBUF));  // = 131072 131072
    SHOW(FileWriteString(pair[0], "text"), SocketGetBytesReadable(pair[1]));               // = 4 4
    SHOW(SocketGetBytesWritable(pair[0]) + SocketGetBytesQueued(pair[0]));                 // = 114688
    close(pair[0]);
    close(pair[1]);
}

static void FailToResolve(std::initializer_list<int> errors) {
    for (const int error : errors) EXPECT_EQ((Failing("gethostbyaddr", error), SocketResolveName("8.8.8.8")), nullptr);
}

TEST(SocketAddress, IsLookedUpAndOfBothEndsTold) {
    SHOW(SocketResolveAddress(""));  // = 0 EADDRNOTAVAIL
    logger_.mode_ = 2;
    SHOW((Failing("gethostbyname", EMFILE), SocketResolveAddress("host")));  // = 0 EADDRNOTAVAIL
    // | Error: Failed to resolve address 'host'. | Error: Error is 24 'Too many open files'.
    SHOW(FailToResolve({HOST_NOT_FOUND, TRY_AGAIN, NO_RECOVERY, NO_DATA}));  // = EINTR
    // | Error: Failed to resolve address '8.8.8.8'. | Error: Error is 1 'The specified host is unknown'.
    // | Error: Failed to resolve address '8.8.8.8'. | Error: Error is 2 'Temporary name server error'.
    // | Error: Failed to resolve address '8.8.8.8'. | Error: Error is 3 'Non-recoverable name server error'.
    // | Error: Failed to resolve address '8.8.8.8'. | Error: Error is 4 'Host does not have an IP address'.
    SHOW(SocketResolveName("x"));         // = null | Error: Wrong IPv4 dotted-decimal address 'x'.
    SHOW(SocketResolveName("10.1.2.3"));  // = "named"
    const int one = socket(AF_INET6, SOCK_DGRAM, 0);
    sockaddr_storage end{};
    auto& address = reinterpret_cast<sockaddr_in6&>(end);
    socklen_t length = sizeof address;
    address.sin6_family = AF_INET6;
    SHOW(SocketUnmapAddress(&end, &length), length, end.ss_family);  // = 28 10
    inet_pton(AF_INET6, "::ffff:127.0.0.1", &address.sin6_addr);
    bind(one, reinterpret_cast<sockaddr*>(&end), length);
    Owned here, there;
    int port, peer;
    SHOW(SocketGetNetworkInfo(one, here, &port, there, &peer), here, there, peer);
    // = -1 ENOTCONN "127.0.0.1" "UNKNOWN" -1 | Error: Can't get the remote host info for FD#N.
    // | Error: Error is 107 'Transport endpoint is not connected'. | Error: Can't get the remote host for FD#N.
    // | Error: Error is 107 'Transport endpoint is not connected'.
    // | Error: Failed to collect network information for FD#N.
    address.sin6_port = htons(static_cast<uint16_t>(port));
    connect(one, reinterpret_cast<sockaddr*>(&end), length);  // to itself
    SHOW(SocketGetNetworkInfo(one, here = nullptr, &port, there = nullptr, &peer), here, there);
    // = 1 "127.0.0.1" "127.0.0.1"
    SHOW(peer - port, SocketGetPort(one, 1) - port);                                                  // = 0 0
    SHOW(SocketUnmapAddress(&end, &length), length, end.ss_family, ntohs(address.sin6_port) - port);  // = 16 2 0
    close(one);
}
