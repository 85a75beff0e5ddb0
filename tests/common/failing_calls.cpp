#include "tests/common/failing_calls.h"

#include <netdb.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <type_traits>

size_t mostWritten = SIZE_MAX;
const char *systemName = "", *systemRelease = "";
unsigned microsecondsSlept = 0;
timespec deadline;

namespace {

std::string_view name;
int number, passes, failures;

// What a failing call answers: most leave their number in errno, some return it.
template <class Result>
Result Failed(std::string_view call) {
    if constexpr (std::is_same_v<Result, int>) {
        if (call.starts_with("pthread_") || call.ends_with("_r")) return number;
    }
    errno = h_errno = number;
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return -1;
}

}  // namespace

Failing::Failing(const char* call, int error, int passing, int failing) {
    name = call;
    number = error;
    passes = passing;
    failures = failing;
}

Failing::~Failing() { name = ""; }

#define CALL(result, call, parameters, ...)                                                 \
    extern "C" result __real_##call parameters;                                             \
    extern "C" result __wrap_##call parameters {                                            \
        if (name == #call && passes-- <= 0 && failures-- > 0) return Failed<result>(#call); \
        return __VA_ARGS__;                                                                 \
    }
CALL(int, daemon, (int a, int b), __real_daemon(a, b))
CALL(int, fcntl, (int a, int b, long c), __real_fcntl(a, b, c))
CALL(int, fork, (), __real_fork())
CALL(hostent*, gethostbyaddr, (const void* a, socklen_t b, int c), __real_gethostbyaddr(a, b, c))
CALL(hostent*, gethostbyname, (const char* a), __real_gethostbyname(a))
CALL(int, getpwnam_r, (const char* a, passwd* b, char* c, size_t d, passwd** e), __real_getpwnam_r(a, b, c, d, e))
CALL(int, kill, (pid_t a, int b), __real_kill(a, b))
CALL(void*, malloc, (size_t a), __real_malloc(a))
CALL(int, nice, (int a), __real_nice(a))
CALL(int, pthread_cancel, (pthread_t a), __real_pthread_cancel(a))
CALL(int, pthread_create, (pthread_t * a, const pthread_attr_t* b, void* (*c)(void*), void* d),
     __real_pthread_create(a, b, c, d))
CALL(int, pthread_kill, (pthread_t a, int b), __real_pthread_kill(a, b))
CALL(int, pthread_mutex_init, (pthread_mutex_t * a, const pthread_mutexattr_t* b), __real_pthread_mutex_init(a, b))
CALL(int, pthread_mutex_timedlock, (pthread_mutex_t * a, const timespec* b),
     (deadline = *b, __real_pthread_mutex_timedlock(a, b)))
CALL(ssize_t, read, (int a, void* b, size_t c), __real_read(a, b, c))
CALL(int, setgid, (gid_t a), __real_setgid(a))
CALL(int, setpriority, (int a, id_t b, int c), __real_setpriority(a, b, c))
CALL(int, setsockopt, (int a, int b, int c, const void* d, socklen_t e), __real_setsockopt(a, b, c, d, e))
CALL(int, setuid, (uid_t a), __real_setuid(a))
CALL(int, socketpair, (int a, int b, int c, int* d), __real_socketpair(a, b, c, d))
CALL(int, uname, (utsname * a), (strcpy(a->sysname, systemName), strcpy(a->release, systemRelease), 0))
CALL(int, usleep, (useconds_t a), (microsecondsSlept += a, 0))
CALL(ssize_t, write, (int a, const void* b, size_t c), __real_write(a, b, std::min(c, mostWritten)))
