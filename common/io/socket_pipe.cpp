#include "common/io/socket_pipe.h"

#include <sys/socket.h>
#include <unistd.h>

#include "common/io/socket_options.h"
#include "common/io/socket_report.h"

int SocketPipe(int* pair, int size) {
    // SOCK_CLOEXEC, since another thread may fork before the two calls below.
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == -1) {
        pair[0] = pair[1] = -1;  // the system may have stored numbers that belong to others
    } else if (SocketSetNoInherit(pair[0], 1) != -1 && SocketSetNoInherit(pair[1], 1) != -1) {
        SocketSetReceiveBuffer(pair[0], size);
        SocketSetReceiveBuffer(pair[1], size);
        SocketSetSendBuffer(pair[0], size);
        SocketSetSendBuffer(pair[1], size);
        return 0;
    }
    constexpr FailureStyle kError{.opening = "Socket: ERROR! ", .lines = FailureLines::One, .level = LogError};
    const ErrnoRestorer kept;
    LogFailedCall(kError, "Can't create the socket pipe");
    for (int slot = 0; slot < 2; ++slot) {
        if (pair[slot] != -1) close(pair[slot]);
        pair[slot] = -1;
    }
    return -1;
}
