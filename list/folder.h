// Looking at files and moving them relative to the folder that they lie in, which stays open while names in it come one
// after the other: the system then looks one name up, and not a whole path.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "list/update_set.h"

/// What FileLook found.
struct FileSeen {
    FileIdentity identity;
    uint64_t device;
    uint64_t mount;                        ///< 0 where the system doesn't tell
    bool isFolder, isMountPoint, isFixed;  ///< fixed: immutable, or only to be appended to
};

/// Looks at a name in a folder; a symbolic link itself is seen. Returns 0, or errno of statx(2).
int FileLook(int folder, const char* name, FileSeen* seen);

/// The last name of a path; "." where there is none behind the last slash.
const char* FileNameOf(const char* path);

/// The folder that paths lie in, one at a time.
class OpenFolder {
public:
    OpenFolder() = default;
    ~OpenFolder();
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;

    /// Goes to the folder of a path, "." for a path without one. Returns 0, or errno of open(2); it is tried again
    /// then.
    int Enter(const char* path);

    /// The folder that was entered last, and whether that was another one than the time before. The descriptor serves
    /// for names in it alone (O_PATH).
    int Get() const { return descriptor_; }
    bool Changed() const { return changed_; }
    const std::string& Path() const { return path_; }

private:
    std::string path_;
    int descriptor_ = -1;
    int error_ = 0;
    bool changed_ = false;
};

/// The names in a folder, for questions that are mostly answered with no: a line has thirteen names, and seldom more
/// than two of them are there.
class FolderNames {
public:
    /// Reads the folder. One that can't be read may hold any name; one that isn't there holds none.
    explicit FolderNames(const std::string& folder);

    /// False for nearly every name that the folder didn't have; a name that it had is never denied.
    bool MayHold(std::string_view name) const;

private:
    bool isRead_ = true;
    std::vector<bool> marks_;  // by the hash of a name; a power of two
};

/// Brings everything to the disk that was written to the file system of a folder. Returns 0 or errno.
int FolderFlushFileSystem(const std::string& folder);

/// Brings the names to the disk that lie in the folder of a path. Returns 0 or errno.
int FolderFlushOf(const std::string& path);

/// Makes the folders that lead to a file and aren't there. With a model, a path that ends like this one, they get the
/// mode of those that lead to it, and their owner where that is allowed. Returns 0 or errno.
int FolderMakeFor(const std::string& path, const std::string& model);

/// Whether folder is ancestor, or lies below it; paths of folders. 1 yes, 0 no, -1 with errno.
int FolderIsWithin(const char* folder, const char* ancestor);
