// Linked into the program (--wrap): one call of one function fails, or the program is killed at that call. The variable
// FAULT holds the function, the number of the call from 1 on and errno, 0 for SIGKILL, less than 0 for a call that
// succeeds behind the shell commands in DURING. With AS_ROOT the caller is root, and a file that was modified in 1970
// belongs to another user. The file "counts" tells the test
// what happened: forks, calls of the function, faults, descriptors that are left.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<int>* counts = nullptr;
char chosen[16];
int chosenCall, chosenError;
pid_t program;
thread_local int child;  // the number of the child that this thread forked last
bool listIsRead;         // only then memory may be short: elsewhere that ends the run like a kill

__attribute__((constructor)) void Arm() {
    const char* fault = getenv("FAULT");
    if (fault == nullptr || sscanf(fault, "%15s %d %d", chosen, &chosenCall, &chosenError) != 3) return;
    program = getpid();
    constexpr size_t kSize = 4 * sizeof *counts;
    const int file = open("counts", O_RDWR | O_CREAT | O_TRUNC, 0600);
    if (ftruncate(file, kSize) == 0) {
        counts = static_cast<std::atomic<int>*>(mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    }
    close(file);
}

bool Fails(const char* function) {
    if (counts == nullptr) return false;
    if (strcmp(function, "fork") == 0) child = ++counts[0];
    if (strcmp(function, "fopen") == 0 || strcmp(function, "fclose") == 0) listIsRead = function[1] == 'o';
    if (strcmp(function, chosen) != 0) return false;
    // Children are started in a fixed order, but two threads and the children themselves make these calls.
    const bool ofChild = strcmp(function, "execvp") == 0 || strcmp(function, "waitpid") == 0;
    const int number = ++counts[1];
    if ((ofChild ? child : number) != chosenCall) return false;
    ++counts[2];
    if (chosenError == 0) kill(program, SIGKILL);
    if (chosenError < 0 && system(getenv("DURING")) == -1) abort();
    errno = chosenError;
    return chosenError > 0;
}

}  // namespace

#define WRAP(result, name, parameters, arguments, failure) \
    extern "C" result __real_##name parameters;            \
    extern "C" result __wrap_##name parameters { return Fails(#name) ? failure : __real_##name arguments; }

WRAP(int, rename, (const char* from, const char* to), (from, to), -1)
WRAP(int, unlink, (const char* path), (path), -1)
WRAP(int, renameat, (int from, const char* name, int to, const char* other), (from, name, to, other), -1)
WRAP(int, unlinkat, (int directory, const char* name, int flags), (directory, name, flags), -1)
WRAP(int, fsync, (int fd), (fd), -1)
WRAP(int, stat, (const char* path, struct stat* record), (path, record), -1)
WRAP(int, lstat, (const char* path, struct stat* record), (path, record), -1)
WRAP(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode), -1)
WRAP(DIR*, opendir, (const char* path), (path), nullptr)
WRAP(dirent*, readdir, (DIR * directory), (directory), nullptr)
WRAP(int, syncfs, (int fd), (fd), -1)
WRAP(int, fdatasync, (int fd), (fd), -1)
WRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode), nullptr)
WRAP(int, fclose, (FILE * file), (file), EOF)
WRAP(char*, fgets, (char* text, int size, FILE* file), (text, size, file), (file->_flags |= _IO_ERR_SEEN, nullptr))
WRAP(int, pipe2, (int* pair, int flags), (pair, flags), -1)
WRAP(ssize_t, read, (int fd, void* data, size_t size), (fd, data, size), -1)
WRAP(int, poll, (struct pollfd * ends, nfds_t count, int timeout), (ends, count, timeout), -1)
WRAP(pid_t, fork, (), (), -1)
WRAP(int, execvp, (const char* file, char* const* arguments), (file, arguments), -1)
WRAP(pid_t, waitpid, (pid_t pid, int* status, int options), (pid, status, options), -1)
WRAP(int, socketpair, (int domain, int type, int protocol, int* pair), (domain, type, protocol, pair), -1)
WRAP(int, fcntl, (int fd, int command, long value), (fd, command, value), -1)
WRAP(int, pthread_create, (pthread_t * a, const pthread_attr_t* b, void* (*c)(void*), void* d), (a, b, c, d), errno)
WRAP(ssize_t, send, (int fd, const void* data, size_t size, int flags), (fd, data, size, flags), -1)

extern "C" uid_t __wrap_geteuid() { return getenv("AS_ROOT") != nullptr ? 0 : getuid(); }
extern "C" int __real_statx(int fd, const char* path, int flags, unsigned mask, struct statx* info);
extern "C" int __wrap_statx(int fd, const char* path, int flags, unsigned mask, struct statx* info) {
    const int result = __real_statx(fd, path, flags, mask, info);
    if (getenv("AS_ROOT") != nullptr && info->stx_uid == getuid())
        info->stx_uid = info->stx_mtime.tv_sec < 1000 ? 7 : 0;
    return result;
}

__attribute__((destructor)) static void Tell() {
    if (counts == nullptr || getpid() != program) return;
    for (int fd = 3; fd < 64; ++fd) counts[3] += __real_fcntl(fd, F_GETFD, 0) != -1 ? 1 : 0;
}

// These replace the library's own.
void* operator new[](size_t size) {
    if (listIsRead && Fails("new")) throw std::bad_alloc();
    return operator new(size);
}
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, size_t /*size*/) noexcept { operator delete(block); }
