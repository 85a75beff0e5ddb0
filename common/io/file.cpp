#include "common/io/file.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "common/io/socket_options.h"
#include "common/log/failure.h"
#include "common/util/string_owned.h"

namespace {

using OwnedPath = std::unique_ptr<char[]>;

OwnedPath Join(const char* directory, const char* name) { return OwnedPath(FileJoinPath(directory, name)); }

// The error of the system for a null pointer, which the C library does not accept.
int RefuseNull() {
    errno = EFAULT;
    return -1;
}

}  // namespace

int FileStat(const char* path, struct stat* record) {
    if (path == nullptr) return RefuseNull();
    if (stat(path, record) == 0) return 1;
    return errno == ENOENT ? 0 : -1;
}

int FileStatEntity(const char* directory, const char* name, struct stat* record) {
    return FileStat(Join(directory, name).get(), record);
}

int FileIsEntity(const char* directory, const char* name) {
    struct stat record;
    return FileStatEntity(directory, name, &record);
}

int FileIsDirectory(const char* directory, const char* name) {
    struct stat record;
    const int found = FileStatEntity(directory, name, &record);
    return found == 1 ? FileStatIsDirectory(&record) : found;
}

int FileIsRegular(const char* directory, const char* name) {
    struct stat record;
    const int found = FileStatEntity(directory, name, &record);
    return found == 1 ? int{FileStatIsRegular(&record) == 1} : found;
}

int64_t FileGetSize(const char* directory, const char* name) {
    struct stat record;
    const int found = FileStatEntity(directory, name, &record);
    if (found != 1) return found;
    if (FileStatIsRegular(&record) == 1) return record.st_size;
    errno = EINVAL;
    return -1;
}

int FileIsAccessible(const char* directory, const char* name, int mode) {
    const OwnedPath path = Join(directory, name);
    return (path != nullptr ? access(path.get(), mode) : RefuseNull()) == 0 ? 1 : 0;
}

int FileStatIsRegular(const struct stat* record) {
    if (S_ISREG(record->st_mode)) return 1;
    return S_ISDIR(record->st_mode) ? 0 : -1;
}

int FileStatIsDirectory(const struct stat* record) { return S_ISDIR(record->st_mode) ? 1 : 0; }

int FileHasPathPrefix(const char* name) {
    return *name == '/' || (strlen(name) > 3 && strncmp(name, "../", 3) == 0) ? 1 : 0;
}

char* FileReadLine(int descriptor, char* buffer, int size) {
    if (size < 2) return nullptr;
    char* end = buffer;
    while (end < buffer + size - 1) {
        const ssize_t count = read(descriptor, end, 1);
        if (count == 1) {
            if (*end++ == '\n') break;
        } else if (count == 0) {
            errno = EIO;
            break;
        } else if (errno != EINTR) {
            break;
        }
    }
    if (end == buffer) return nullptr;
    *end = '\0';
    return end;
}

int FileWriteString(int descriptor, const char* string) {
    if (string == nullptr) return RefuseNull();
    const size_t length = strlen(string);
    size_t written = 0;
    while (written < length) {
        const ssize_t count = write(descriptor, string + written, length - written);
        if (count > 0) {
            written += static_cast<size_t>(count);
        } else if (count == 0 || errno == EAGAIN) {
            break;
        } else if (errno != EINTR) {
            if (written == 0) return -1;
            break;
        }
    }
    return static_cast<int>(written);
}

int FileChangeOwner(const char* path, uid_t user, gid_t group) {
    constexpr FailureStyle kError{.opening = "File: ERROR! ", .form = ErrorForm::CommaPlain};
    if ((path != nullptr ? chown(path, user, group) : RefuseNull()) == 0) return 1;
    return LogFailedCall(kError, "Can't change ownership of '", StringOrNil(path), "'");
}

int FilePipe(int* descriptors, int capacity) {
    if (pipe(descriptors) == -1) return -1;
    if (FileSetPipeSize(descriptors[0], capacity) != -1) FileSetPipeSize(descriptors[1], capacity);
    return 1;
}

int FileSetPipeSize(int descriptor, int capacity) {
    if (fcntl(descriptor, F_SETPIPE_SZ, capacity) != -1) return 1;
    return errno == EINVAL ? 0 : -1;
}

int FileSetNonBlocking(int descriptor, int value) { return SocketSetNonBlocking(descriptor, value); }

int FileSetNoInherit(int descriptor, int value) { return SocketSetNoInherit(descriptor, value); }

int FileGetBytesReadable(int descriptor) { return SocketGetBytesReadable(descriptor); }

int FileGetBytesQueued(int descriptor) { return SocketGetBytesQueued(descriptor); }

int FileGetBytesReadable(int descriptor, int* count) {
    int readable = 0;
    const int result = ioctl(descriptor, FIONREAD, &readable);
    if (result != -1) *count = readable;
    return result;
}

int FileGetBytesWritable(int descriptor) {
    Log() << "File: WARNING! Can't query the bytes writable to FD#" << descriptor << ".\n";
    errno = ENOSYS;
    return -1;
}
