#include "tests/common/failing_calls.h"

#include <netdb.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

static char named[] = "named";
static hostent host{
    .h_name = named, .h_aliases = nullptr, .h_addrtype = AF_INET, .h_length = 0, .h_addr_list = nullptr};

// Most calls leave their number in errno, some return it, and the resolver has its own variable.
static const int& number = Failing::number;
static auto Failed(auto answer) { return errno = h_errno = number, answer; }

#define CALL(result, call, parameters, failed, otherwise)                    \
    extern "C" result __real_##call parameters;                              \
    extern "C" result __wrap_##call parameters {                             \
        [[maybe_unused]] constexpr auto real = __real_##call;                \
        if (Failing::name == #call && Failing::passes-- == 0) return failed; \
        return otherwise;                                                    \
    }
CALL(int, fcntl, (int a, int b, long c), Failed(-1), real(a, b, c))
CALL(int, fork, (), Failed(-1), real())
CALL(hostent*, gethostbyaddr, (const void*, socklen_t, int), Failed(nullptr), &host)
CALL(hostent*, gethostbyname, (const char* a), Failed(nullptr), real(a))
CALL(int, kill, (pid_t a, int b), Failed(-1), real(a, b))
CALL(int, pthread_create, (pthread_t * a, const pthread_attr_t* b, void* (*c)(void*), void* d), number,
     real(a, b, c, d))
CALL(int, pthread_mutex_timedlock, (pthread_mutex_t * a, const timespec* b), 0, (deadline = *b, real(a, b)))
CALL(ssize_t, read, (int a, void* b, size_t c), Failed(-1), real(a, b, c))
CALL(int, socketpair, (int a, int b, int c, int* d), (*d = 1, Failed(-1)), real(a, b, c, d))  // leaves a foreign number
CALL(int, uname, (utsname * a), Failed(-1), (strcpy(a->sysname, systemName), strcpy(a->release, systemRelease), 0))
CALL(int, usleep, (useconds_t a), Failed(-1), (microsecondsSlept += a, 0))
CALL(ssize_t, write, (int a, const void* b, size_t c), Failed(-1), real(a, b, std::min(c, mostWritten)))
