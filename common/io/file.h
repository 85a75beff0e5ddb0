// Paths, tests of files, and reading and writing on descriptors. Stateless; any thread may call.
//
// An entry with a directory and a name works on FileJoinPath of the two. A missing name is refused like a null pointer:
// errno EFAULT. Tests return 1 for yes, 0 for no, or -1 with errno when the system call fails. Symbolic links are
// followed. No entry logs unless stated.
#pragma once
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>

#include "common/util/large_types.h"
#include "common/util/path_text.h"  // FileJoinPath

/// stat(2): 1 the file exists, *record is filled; 0 it does not (ENOENT, so a dangling link too); -1 any other failure.
int FileStat(const char* path, struct stat* record);
int FileStatEntity(const char* directory, const char* name, struct stat* record);
int FileIsEntity(const char* directory, const char* name);

/// Both return 0 for a missing file.
int FileIsDirectory(const char* directory, const char* name);
int FileIsRegular(const char* directory, const char* name);

/// The size of a regular file in bytes; 0 also when it is missing; -1 with errno, EINVAL when it is not a regular file.
int64_t FileGetSize(const char* directory, const char* name);

/// 1 when access(2) grants mode (R_OK, W_OK, X_OK, F_OK), which it judges by the real ids; else 0 with errno.
int FileIsAccessible(const char* directory, const char* name, int mode);

/// FileStatIsRegular: 1 a regular file, 0 a directory, -1 anything else. FileStatIsDirectory: 1 a directory, else 0.
int FileStatIsRegular(const struct stat* record);
int FileStatIsDirectory(const struct stat* record);

/// 1 when name begins with '/', or with "../" and has more than those three characters; else 0.
int FileHasPathPrefix(const char* name);

/// Reads a line of at most size - 1 bytes, one byte a read, up to and with its line feed; a longer line is read in
/// pieces. A read that a signal interrupts is repeated. Returns a pointer to the NUL after the line in buffer (size
/// bytes), or null when nothing was read: size below 2 (no read, errno stays), the end of the file (errno EIO) or a
/// failure (its errno, EAGAIN too). The end of the file or a failure may also end a line early and leaves its errno.
char* FileReadLine(int descriptor, char* buffer, int size);

/// Writes the whole string, of at most 2 GiB less one byte, with as many calls as that takes. Returns the bytes
/// written: fewer when the descriptor takes no more for now (EAGAIN) or failed on the way; -1 with errno when nothing
/// was written because of a failure, EFAULT for a null string.
int FileWriteString(int descriptor, const char* string);

/// chown(2): 1, or -1 with errno and two lines on the ordinary stream; a null path is refused with EFAULT.
int FileChangeOwner(const char* path, uid_t user, gid_t group);

/// pipe(2) and FileSetPipeSize: 1 with the read end in descriptors[0] and the write end in [1], both inherited by
/// children and closed by the caller; -1 with errno. A capacity that the system refuses is ignored.
int FilePipe(int* descriptors, int capacity);

/// F_SETPIPE_SZ of fcntl(2), in bytes: 1 done; 0 refused (EINVAL); -1 any other failure, with errno.
int FileSetPipeSize(int descriptor, int capacity);

/// The operations of socket_options.h of these names, with their log lines.
int FileSetNonBlocking(int descriptor, int value);
int FileSetNoInherit(int descriptor, int value);
int FileGetBytesReadable(int descriptor);
int FileGetBytesQueued(int descriptor);

/// FIONREAD of ioctl(2): 0 with the bytes that wait to be read in *count; -1 with errno, *count unchanged.
int FileGetBytesReadable(int descriptor, int* count);

/// Not supported for files: -1 with errno ENOSYS and a log line.
int FileGetBytesWritable(int descriptor);
