#include "common/log/error_name.h"

#include <cerrno>
#include <cstring>

namespace {

struct NamedError {
    int number;
    const char* name;
};

#define NAMED(name) \
    { name, #name }
constexpr NamedError kErrors[] = {
    {0, "Success"},      NAMED(EPERM),      NAMED(ENOENT),    NAMED(ESRCH),      NAMED(EINTR),
    NAMED(EIO),          NAMED(ENXIO),      NAMED(E2BIG),     NAMED(ENOEXEC),    NAMED(EBADF),
    NAMED(ECHILD),       NAMED(EAGAIN),     NAMED(ENOMEM),    NAMED(EACCES),     NAMED(EFAULT),
    NAMED(EBUSY),        NAMED(EEXIST),     NAMED(EXDEV),     NAMED(ENODEV),     NAMED(ENOTDIR),
    NAMED(EISDIR),       NAMED(EINVAL),     NAMED(ENFILE),    NAMED(EMFILE),     NAMED(ENOTTY),
    NAMED(EFBIG),        NAMED(ENOSPC),     NAMED(ESPIPE),    NAMED(EROFS),      NAMED(EMLINK),
    NAMED(EPIPE),        NAMED(EDOM),       NAMED(ERANGE),    NAMED(EDEADLK),    NAMED(ENAMETOOLONG),
    NAMED(ENOLCK),       NAMED(ENOSYS),     NAMED(ENOTEMPTY), NAMED(ENOMSG),     NAMED(EBADE),
    NAMED(EBADRQC),      NAMED(EBADSLT),    NAMED(ECOMM),     NAMED(EPROTO),     NAMED(EBADMSG),
    NAMED(EILSEQ),       NAMED(ENOTSOCK),   NAMED(ENOTSUP),   NAMED(EADDRINUSE), NAMED(EADDRNOTAVAIL),
    NAMED(ECONNABORTED), NAMED(ECONNRESET), NAMED(EISCONN),   NAMED(ETIMEDOUT),  NAMED(ECONNREFUSED),
    NAMED(EINPROGRESS)};
#undef NAMED

}  // namespace

const char* ErrorString(int error) { return error == 0 ? "No error" : strerror(error); }

const char* LastErrorString() { return ErrorString(errno); }

const char* ErrorName(int error) {
    for (const NamedError& row : kErrors) {
        if (row.number == error) return row.name;
    }
    return "Unknown";
}

const char* LastErrorName() { return ErrorName(errno); }
