#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "common/io/file.h"
#include "common/io/socket_address.h"
#include "common/io/socket_options.h"
#include "common/io/socket_system.h"
#include "common/util/string_owned.h"
#include "tests/support/scopes.h"

namespace {

std::string Taken(const char* text) {
    const std::string copy = StringOrNil(text);
    delete[] text;
    return copy;
}

TEST(File, PathsAreJoinedAndAskedAbout) {
    const auto join = [](const char* directory, const char* name) { return Taken(FileJoinPath(directory, name)); };
    EXPECT_EQ(Shown(join(nullptr, "a"), join("", "a"), join("/tmp/", "a"), join("d", ""), join("d", nullptr)),
              "a a /tmp//a nil nil");
    const TempFolder folder;
    WriteFile(folder.Path("ten"), "0123456789");
    ASSERT_EQ(symlink("none", folder.Path("dangling").c_str()), 0);
    const auto ask = [root = folder.Path("")](const char* name) {
        const char* const dir = root.c_str();
        return Shown(FileIsEntity(dir, name), FileIsDirectory(dir, name), FileIsRegular(dir, name),
                     FileGetSize(dir, name), FileIsAccessible(dir, name, R_OK)) +
               "|";
    };
    EXPECT_EQ(ask("ten") + ask(".") + ask("none") + ask("dangling") + ask("ten/x") + ask(""),
              "1 0 1 10 1|1 1 0 -1 1|0 0 0 0 0|0 0 0 0 0|-1 -1 -1 -1 0|-1 -1 -1 -1 0|");
    struct stat device;
    EXPECT_EQ((Told() << FileIsRegular("/dev", "null") << FileStat("/dev/null", &device) << FileStatIsRegular(&device)
                      << FileStatIsDirectory(&device) << static_cast<int>(FileGetSize(nullptr, "/")) << errno
                      << FileStat(nullptr, &device) << errno << FileIsAccessible("d", "", F_OK) << errno),
              "0 1 -1 0 -1 22 -1 14 0 14");
    const auto prefix = FileHasPathPrefix;
    EXPECT_EQ(Shown(prefix("/x"), prefix("../x"), prefix("../"), prefix("./x"), prefix("x"), prefix("")),
              "1 1 0 0 0 0");
}

TEST(File, LinesAreReadAndStringsWrittenPieceByPiece) {
    int ends[2], count = 0;
    ASSERT_EQ(FilePipe(ends, 65536), 1);
    EXPECT_EQ((Told() << FileWriteString(ends[1], "ab\ncd") << FileWriteString(ends[1], "")
                      << FileGetBytesReadable(ends[0], &count) << count << FileGetBytesReadable(ends[0])
                      << FileSetNonBlocking(ends[1], 1) << FileSetPipeSize(ends[1], -1) << FileSetPipeSize(-1, 4096)
                      << errno),
              "5 0 0 5 5 1 0 -1 9");
    char text[16];
    const auto line = [&](int size) {
        const char* end = FileReadLine(ends[0], text, size);
        return std::string(end ? text : "nil");
    };
    EXPECT_EQ((Told() << line(1) << line(2) << line(16) << line(3)), "nil a b\n cd");
    EXPECT_EQ((Told() << FileWriteString(ends[1], std::string(65537, 'x').c_str()) << FileWriteString(ends[1], "x")),
              "65536 0");
    std::vector<char> all(65534);
    EXPECT_EQ(read(ends[0], all.data(), all.size()), 65534);
    close(ends[1]);
    errno = 0;
    EXPECT_EQ((Told() << line(16) << errno << line(16)), "xx 5 nil");
    close(ends[0]);
    const LogCapture log;
    EXPECT_EQ((Told() << FileWriteString(-1, "x") << errno << (FileReadLine(-1, text, 9) == nullptr) << errno
                      << FileGetBytesReadable(-1, &count) << count << FileGetBytesWritable(3) << errno
                      << FileChangeOwner("/none", 0, 0) << errno << FileChangeOwner(nullptr, 0, 0)
                      << FileChangeOwner("/tmp", ~0U, ~0U)),
              "-1 9 1 9 -1 5 -1 38 -1 2 -1 1");
    EXPECT_EQ(
        log.Text(),
        "@ File: WARNING! Can't query the bytes writable to FD#3.\n"
        "@ File: ERROR! Can't change ownership of '/none'.\n@ File: ERROR! Error is 2, No such file or directory.\n"
        "@ File: ERROR! Can't change ownership of 'nil'.\n@ File: ERROR! Error is 14, Bad address.\n");
}

TEST(SocketOptions, FailuresAreWrittenOnBothStreams) {
    EXPECT_EQ(
        (Told() << SocketSetCork(-1, 1) << SocketSetQuickAck(-1, 1) << SocketSetLowDelay(-1) << SocketGetBytesQueued(-1)
                << errno << SocketGetBytesWritable(-1) << SocketGetBytesReadable(-1) << errno),
        "0 0 0 -1 38 -1 -1 9");
    EXPECT_EQ(SocketSystemInit() + SocketSystemCleanup(), 2);
    const LogCapture log;
    EXPECT_EQ((Told() << SocketSetCork(-1, 1) << errno << SocketSetLowDelay(-1) << errno << SocketSetLinger(-1, -5)
                      << SocketGetOption(-1, SocketOptionNoDelay) << errno << SocketGetOption(0, 1) << errno),
              "-1 9 -1 9 -1 -1 9 -1 38");
    const std::string is = "Error is 9 'Bad file descriptor'.\n", error = "@ Socket: ERROR! ",
                      level = "Error: ", cork = "Failed to set TCP_CORK to 1 on FD#-1.\n",
                      delay = "Failed to set IPTOS_LOWDELAY on FD#-1 to 16. " + is,
                      linger = "Failed to set SO_LINGER values to 0 and 0 on FD#-1. " + is,
                      query = "Query failed for option 2 on FD#-1.\n";
    EXPECT_TRUE(log.Text().starts_with(error + cork + error + is + level + cork + level + is + "@ Socket: WARNING! " +
                                       delay + "Warning: " + delay + error + linger + level + linger + error + query +
                                       level + query + error + is + level + is))
        << log.Text();
}

// Connected ends of a TCP socket on the loopback: a dual-stack listener's and an IPv4 peer's.
struct Connection {
    Connection() {
        sockaddr_in6 any{};
        any.sin6_family = AF_INET6;
        socklen_t length = sizeof any;
        const int listener = socket(AF_INET6, SOCK_STREAM, 0);
        bind(listener, reinterpret_cast<sockaddr*>(&any), length);
        listen(listener, 1);
        getsockname(listener, reinterpret_cast<sockaddr*>(&any), &length);
        port = ntohs(any.sin6_port);
        const sockaddr_in to{
            .sin_family = AF_INET, .sin_port = any.sin6_port, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
        connect(client, reinterpret_cast<const sockaddr*>(&to), sizeof to);
        server = accept(listener, nullptr, nullptr);
        close(listener);
    }
    ~Connection() { close(client), close(server); }
    int client = socket(AF_INET, SOCK_STREAM, 0), server = -1, port = 0;
};

TEST(SocketAddress, BothEndsAreShownAnIpv4PeerInDottedForm) {
    const Connection tcp;
    char *local, *remote;
    int localPort, remotePort;
    const auto ask = [&](int descriptor) {
        const int result = SocketGetNetworkInfo(descriptor, &local, &localPort, &remote, &remotePort), error = errno;
        return Shown(result, result == 1 ? 0 : error, Taken(local), localPort, Taken(remote), remotePort);
    };
    EXPECT_EQ(ask(tcp.server), Shown("1 0 127.0.0.1", tcp.port, "127.0.0.1", SocketGetPort(tcp.client, 1)));
    const int lone = socket(AF_INET6, SOCK_STREAM, 0);
    const LogCapture log;
    EXPECT_EQ(ask(lone), "-1 107 :: 0 UNKNOWN -1");
    close(lone);
}

}  // namespace
