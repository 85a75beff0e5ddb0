#include "list/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <functional>

namespace {

int Flush(const char* folder, int (*flush)(int)) {
    const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor == -1) return errno;
    const int error = flush(descriptor) == 0 ? 0 : errno;
    close(descriptor);
    return error;
}

}  // namespace

int FileLook(int folder, const char* name, FileSeen* seen) {
    struct statx record;
    if (statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS | STATX_MNT_ID, &record) != 0) {
        return errno;
    }
    seen->identity = {.inode = record.stx_ino,
                      .size = static_cast<int64_t>(record.stx_size),
                      .seconds = record.stx_mtime.tv_sec,
                      .nanoseconds = record.stx_mtime.tv_nsec};
    seen->device = makedev(record.stx_dev_major, record.stx_dev_minor);
    seen->mount = (record.stx_mask & STATX_MNT_ID) != 0 ? record.stx_mnt_id : 0;
    seen->isFolder = S_ISDIR(record.stx_mode);
    seen->isMountPoint = (record.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    seen->isFixed = (record.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
    return 0;
}

const char* FileNameOf(const char* path) {
    const char* const slash = strrchr(path, '/');
    const char* const name = slash == nullptr ? path : slash + 1;
    return *name == '\0' ? "." : name;
}

OpenFolder::~OpenFolder() {
    if (descriptor_ != -1) close(descriptor_);
}

int OpenFolder::Enter(const char* path) {
    const auto folder = Dirname(path);
    changed_ = folder != path_;
    if (!changed_ && error_ == 0) return 0;
    path_ = folder;
    if (descriptor_ != -1) close(descriptor_);
    descriptor_ = open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    error_ = descriptor_ == -1 ? errno : 0;
    return error_;
}

FolderNames::FolderNames(const std::string& folder) {
    DIR* const names = opendir(folder.c_str());
    if (names == nullptr) {
        isRead_ = errno == ENOENT || errno == ENOTDIR;
        return;
    }
    std::vector<size_t> hashes;
    errno = 0;
    while (const dirent* entry = readdir(names)) hashes.push_back(std::hash<std::string_view>()(entry->d_name));
    isRead_ = errno == 0;
    closedir(names);
    marks_.resize(std::bit_ceil(32 * hashes.size() + 1));
    for (const size_t hash : hashes) marks_[hash & (marks_.size() - 1)] = true;
}

bool FolderNames::MayHold(std::string_view name) const {
    if (!isRead_ || marks_.empty()) return !isRead_;
    return marks_[std::hash<std::string_view>()(name) & (marks_.size() - 1)];
}

int FolderFlushFileSystem(const std::string& folder) { return Flush(folder.c_str(), syncfs); }

int FolderFlushOf(const std::string& path) { return Flush(std::string(Dirname(path)).c_str(), fsync); }

int FolderMakeFor(const std::string& path, const std::string& model) {
    for (size_t slash = 0; (slash = path.find('/', slash + 1)) != std::string::npos;) {
        const auto folder = path.substr(0, slash);
        if (mkdir(folder.c_str(), 0777) != 0) {
            if (errno != EEXIST) return errno;
            continue;
        }
        struct stat record;
        if (model.empty() || stat(model.substr(0, model.size() - (path.size() - slash)).c_str(), &record) != 0)
            continue;
        if (chown(folder.c_str(), record.st_uid, record.st_gid) != 0 && errno != EPERM) return errno;
        if (chmod(folder.c_str(), record.st_mode & 07777) != 0) return errno;
    }
    return 0;
}

int FolderIsWithin(const char* folder, const char* ancestor) {
    struct stat wanted, here, above;
    if (stat(ancestor, &wanted) != 0) return -1;
    int descriptor = open(folder, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (descriptor == -1 || fstat(descriptor, &here) != 0) return -1;
    int result = -1;
    for (;;) {
        if (here.st_dev == wanted.st_dev && here.st_ino == wanted.st_ino) result = 1;
        const int parent = result == 1 ? -1 : openat(descriptor, "..", O_PATH | O_DIRECTORY | O_CLOEXEC);
        close(descriptor);
        if (parent == -1) return result;
        descriptor = parent;
        if (fstat(descriptor, &above) != 0) break;
        if (above.st_dev == here.st_dev && above.st_ino == here.st_ino) {  // the root is its own parent
            result = 0;
            break;
        }
        here = above;
    }
    const int error = errno;
    close(descriptor);
    errno = error;
    return result;
}
