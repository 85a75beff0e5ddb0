// Files in directories that are opened component by component, so that nobody can lead the program elsewhere. For root,
// every directory on the way, also one that holds a symbolic link of the path, must belong to root and be writable by
// nobody else; one that is only passed may be sticky, where a link of the path must belong to root.
#pragma once
#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <string>

#include "list/message.h"
#include "post/update_line.h"

/// What the system reports of a file, of a symbolic link itself.
using FileInfo = struct statx;

/// Which file it is, under whatever name: a rename changes nothing of this. The device is left out, since its number
/// does not outlive a restart.
struct FileIdentity {
    static constexpr int64_t kBorn = -1;
    uint64_t inode = 0;
    int64_t size = 0;     ///< in bytes, and the time is that of the last modification; or kBorn, and that of the birth
    int64_t seconds = 0;  ///< rounded down, since 1970
    uint32_t nanoseconds = 0;
    bool operator==(const FileIdentity&) const = default;
};

/// The identity by the birth, which not every file system has, or by the modification.
FileIdentity Identity(const FileInfo& info, bool isByBirth);

/// Reads the status of a name in an open directory; the empty name stands for what is open. Returns 0 or errno.
int StatAt(int directory, const char* name, FileInfo* info);

/// The last name of a path; "." where there is none behind the last slash.
inline const char* LastName(const std::string& path) { return path.ends_with('/') ? "." : Basename(path.c_str()); }

class Directory {
public:
    Directory() = default;
    ~Directory() { Close(); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    /// Opens a directory in place of the one before; with create, makes those that are missing. Returns 0 or errno,
    /// EPERM where the rule above is broken; Failure is the message of that.
    int Open(const std::string& path, bool create = false);
    bool OpenOrPrint(const std::string& path) { return Open(path) == 0 || PrintError(failure_); }
    const std::string& Failure() const { return failure_; }
    /// The open directory, for names in it alone (O_PATH), and its status; -1 when Open has failed.
    int Get() const { return descriptor_; }
    const FileInfo& Info() const { return info_; }
    uint64_t Device() const { return uint64_t{info_.stx_dev_major} << 32 | info_.stx_dev_minor; }
    /// With a name behind it, this is one text for all paths that lead to that name.
    const std::string& Key() const { return key_; }
    /// Opens a regular file that lies in it, with flags of open(2); the rule above holds for the file as well. Returns
    /// its descriptor; or -1 with errno, which is printed unless it is ENOENT.
    int OpenFile(const std::string& path, int flags) const;
    /// Flushes the names in it (fsync) or its whole file system (syncfs). False when that fails, which is printed.
    bool Flush(int (*flush)(int)) const;

private:
    void Close();
    int Start(int descriptor);
    int Enter(const std::string& name, bool create, std::string* left);
    int Distrust(const char* reason);
    std::string path_, key_, failure_;
    int descriptor_ = -1, links_ = 0;
    FileInfo info_{};
};

/// The two files of a line of the list.
enum Role { kSource, kDestination };
constexpr const char* kRoleNames[] = {"source", "destination"};

/// The directories of one file of each role at a time. All their file systems can be flushed.
class Directories {
public:
    /// Opens the directory of a file in place of the one of its role. Returns 0 or errno of Directory::Open.
    int Enter(Role role, const std::string& file, bool create = false);
    const Directory& At(Role role) const { return open_[role]; }
    bool FlushFileSystems() const;

private:
    Directory open_[2];
    std::string path_[2];
    std::map<uint64_t, std::string> fileSystems_;  // a directory of each
};
