#include "common/io/socket_options.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "common/io/socket_report.h"
#include "common/io/socket_system.h"

namespace {

constexpr int kLevelSunOs = 1;
constexpr int kLevelLinux24 = 3;

constexpr FailureStyle kError{.opening = "Socket: ERROR! ", .lines = FailureLines::One, .level = LogError};
constexpr FailureStyle kWarning{.opening = "Socket: WARNING! ", .lines = FailureLines::One, .level = LogWarning};
constexpr FailureStyle kErrorInTwo{.opening = "Socket: ERROR! ", .lines = FailureLines::Two, .level = LogError};

struct SocketOption {
    int level, name;
    const char* words;
    bool valueFirst = false;  // in the words of a failure
    int support = -1;         // the level that the system must have
    FailureStyle failure = kError;
    int silent[2] = {0, 0};  // error numbers that are returned without a line; 0 is none
};

constexpr SocketOption kNoDelay{
    .level = IPPROTO_TCP, .name = TCP_NODELAY, .words = "Can't set no-delay mode", .silent = {EOPNOTSUPP, ENOPROTOOPT}};
constexpr SocketOption kCork{.level = IPPROTO_TCP,
                             .name = TCP_CORK,
                             .words = "Failed to set TCP_CORK",
                             .valueFirst = true,
                             .support = kLevelLinux24,
                             .failure = kErrorInTwo};
constexpr SocketOption kQuickAck{.level = IPPROTO_TCP,
                                 .name = TCP_QUICKACK,
                                 .words = "Failed to set TCP_QUICKACK",
                                 .valueFirst = true,
                                 .support = kLevelLinux24,
                                 .failure = kErrorInTwo};
constexpr SocketOption kReceiveBuffer{
    .level = SOL_SOCKET, .name = SO_RCVBUF, .words = "Failed to set SO_RCVBUF size", .valueFirst = true};
constexpr SocketOption kSendBuffer{
    .level = SOL_SOCKET, .name = SO_SNDBUF, .words = "Failed to set SO_SNDBUF size", .valueFirst = true};
constexpr SocketOption kLowDelay{.level = IPPROTO_IP,
                                 .name = IP_TOS,
                                 .words = "Failed to set IPTOS_LOWDELAY",
                                 .support = kLevelSunOs,
                                 .failure = kWarning,
                                 .silent = {EOPNOTSUPP, 0}};
constexpr SocketOption kKeepAlive{.level = SOL_SOCKET, .name = SO_KEEPALIVE, .words = "Failed to set SO_KEEPALIVE"};
constexpr SocketOption kReuseAddress{.level = SOL_SOCKET, .name = SO_REUSEADDR, .words = "Failed to set SO_REUSEADDR"};

int SetOption(const SocketOption& option, int descriptor, int value) {
    if (SocketSystemSupport < option.support) return 0;
    if (setsockopt(descriptor, option.level, option.name, &value, sizeof value) != -1) return 1;
    if (errno == option.silent[0] || errno == option.silent[1]) return -1;
    if (option.valueFirst) return LogFailedCall(option.failure, option.words, " to ", value, " on FD#", descriptor);
    return LogFailedCall(option.failure, option.words, " on FD#", descriptor, " to ", value);
}

// Reads an int option: 0, or -1 with errno.
int GetOption(int descriptor, int level, int name, int* value) {
    socklen_t length = sizeof *value;
    return getsockopt(descriptor, level, name, value, &length);
}

// The byte counts need the level too, but report its lack like a failure.
bool CountsQueues() {
    if (SocketSystemSupport >= kLevelLinux24) return true;
    errno = ENOSYS;
    return false;
}

int QueryFailed(int descriptor, int code) {
    return LogFailedCall(kSocketFailure, "Query failed for option ", code, " on FD#", descriptor);
}

}  // namespace

int SocketSetNonBlocking(int descriptor, int value) {
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags != -1) {
        if (((flags & O_NONBLOCK) != 0 ? 1 : 0) == value) return 1;
        if (fcntl(descriptor, F_SETFL, value != 0 ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) != -1) return 1;
    }
    return LogFailedCall(kError, "Can't set non-blocking mode on FD#", descriptor, " to ", value);
}

int SocketSetNoInherit(int descriptor, int value) {
    // The whole word is written, not the one bit: FD_CLOEXEC is the only flag of a descriptor.
    if (fcntl(descriptor, F_SETFD, value) == 0) return 1;
    return LogFailedCall(kError, "Can't set no-inherit mode on FD#", descriptor, " to ", value);
}

int SocketSetNoDelay(int descriptor, int value) { return SetOption(kNoDelay, descriptor, value); }

int SocketSetCork(int descriptor, int value) { return SetOption(kCork, descriptor, value); }

int SocketSetReceiveBuffer(int descriptor, int size) { return SetOption(kReceiveBuffer, descriptor, size); }

int SocketSetSendBuffer(int descriptor, int size) { return SetOption(kSendBuffer, descriptor, size); }

int SocketSetLowDelay(int descriptor) { return SetOption(kLowDelay, descriptor, IPTOS_LOWDELAY); }

int SocketSetKeepAlive(int descriptor, int value) { return SetOption(kKeepAlive, descriptor, value); }

int SocketSetLinger(int descriptor, int seconds) {
    const struct linger value = {seconds > 0 ? 1 : 0, std::max(seconds, 0)};
    if (setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &value, sizeof value) != -1) return 1;
    return LogFailedCall(kError, "Failed to set SO_LINGER values to ", value.l_onoff, " and ", value.l_linger,
                         " on FD#", descriptor);
}

int SocketSetReuseAddress(int descriptor, int value) { return SetOption(kReuseAddress, descriptor, value); }

int SocketSetQuickAck(int descriptor, int value) { return SetOption(kQuickAck, descriptor, value); }

int SocketGetOption(int descriptor, int code) {
    if (code == SocketOptionNonBlocking) {
        const int flags = fcntl(descriptor, F_GETFL);
        if (flags != -1) return (flags & O_NONBLOCK) != 0 ? 1 : 0;
    } else if (code == SocketOptionNoDelay) {
        int value = 0;
        if (GetOption(descriptor, IPPROTO_TCP, TCP_NODELAY, &value) == 0) return value;
    } else {
        Log() << "Socket: WARNING! Query for option " << code << " not implemented.\n";
        errno = ENOSYS;
    }
    return QueryFailed(descriptor, code);
}

int SocketGetBytesReadable(int descriptor) {
    int count = 0;
    return ioctl(descriptor, FIONREAD, &count) != -1 ? count : -1;
}

int SocketGetBytesQueued(int descriptor) {
    if (!CountsQueues()) return -1;
    int count = 0;
    if (ioctl(descriptor, SIOCOUTQ, &count) != -1) return count;
    return LogFailedCall(kError, "Failed to get bytes queued on FD#", descriptor);
}

int SocketGetBytesWritable(int descriptor) {
    constexpr int kReserve = 16384;
    const int queued = SocketGetBytesQueued(descriptor);
    if (queued == -1) return -1;
    int size = 0;
    if (GetOption(descriptor, SOL_SOCKET, SO_SNDBUF, &size) != -1) return std::max(size - kReserve - queued, 0);
    return LogFailedCall(kError, "Failed to get the SO_SNDBUF size on FD#", descriptor);
}

int SocketGetError(int descriptor) {
    int value = 0;
    if (GetOption(descriptor, SOL_SOCKET, SO_ERROR, &value) != -1) return value;
    return LogFailedCall(kError, "Failed to get the SO_ERROR option for FD#", descriptor);
}
