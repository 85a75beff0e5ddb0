#include "list/directory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace {
constexpr int kMostLinks = 40;  // as many as the system follows
constexpr int kOpen = O_PATH | O_NOFOLLOW | O_CLOEXEC;
const bool kIsRoot = geteuid() == 0;

// Why root may not rely on a file or directory; null when nobody else could prepare it, or for another user.
const char* UntrustedReason(const FileInfo& info, bool isPassed) {
    if (!kIsRoot) return nullptr;
    if (info.stx_uid != 0) return "it belongs to another user";
    if (isPassed && (info.stx_mode & S_ISVTX) != 0) return nullptr;
    return (info.stx_mode & (S_IWGRP | S_IWOTH)) != 0 ? "others can write to it" : nullptr;
}
}  // namespace

FileIdentity Identity(const FileInfo& info, bool isByBirth) {
    const auto& time = isByBirth ? info.stx_btime : info.stx_mtime;
    const auto size = isByBirth ? FileIdentity::kBorn : static_cast<int64_t>(info.stx_size);
    return {info.stx_ino, size, time.tv_sec, time.tv_nsec};
}

int StatAt(int directory, const char* name, FileInfo* info) {
    constexpr unsigned kFields = STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID;
    constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
    return statx(directory, name, kFlags, kFields, info) == 0 ? 0 : errno;
}

void Directory::Close() {
    if (descriptor_ != -1) close(descriptor_);
    descriptor_ = -1;
}

// Takes an open directory in place of the one before.
int Directory::Start(int descriptor) {
    if (descriptor == -1) return errno;
    Close();
    descriptor_ = descriptor;
    return StatAt(descriptor_, "", &info_);
}

// With a reason: this directory must not be used. It need not be one that the path names.
int Directory::Distrust(const char* reason) {
    if (reason == nullptr) return 0;
    char path[PATH_MAX] = "";
    const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(descriptor_)).c_str(), path, sizeof path);
    failure_ = "directory " + Quote({path, size > 0 ? static_cast<size_t>(size) : 0}) + " cannot be trusted: " + reason;
    return EPERM;
}

// Goes to a name in the directory. A link puts what it leads to in front of what is left to walk.
int Directory::Enter(const std::string& name, bool create, std::string* left) {
    if (const int error = Distrust(UntrustedReason(info_, true))) return error;
    if (create) mkdirat(descriptor_, name.c_str(), 0755);
    const int next = openat(descriptor_, name.c_str(), kOpen);
    if (next == -1) return errno;
    FileInfo info{};
    int error = StatAt(next, "", &info);
    if (error == 0 && S_ISDIR(info.stx_mode)) return Start(next);
    char target[PATH_MAX];
    const ssize_t size = error == 0 && S_ISLNK(info.stx_mode) ? readlinkat(next, "", target, sizeof target) : -1;
    close(next);
    if (size <= 0) return error != 0 ? error : ENOTDIR;
    if (++links_ > kMostLinks) return ELOOP;
    const bool isPlanted = kIsRoot && (info_.stx_mode & S_ISVTX) != 0 && info.stx_uid != 0;
    if (isPlanted) return Distrust("it holds a link of another user");
    *left = std::string(target, static_cast<size_t>(size)) + "/" + *left;
    return *target == '/' ? Start(open("/", kOpen)) : 0;
}

int Directory::Open(const std::string& path, bool create) {
    path_ = path;
    failure_.clear();
    links_ = 0;
    char working[PATH_MAX] = "";
    int error = path.starts_with('/') || getcwd(working, sizeof working) != nullptr ? Start(open("/", kOpen)) : errno;
    auto left = working + ("/" + path);
    for (size_t start; error == 0 && (start = left.find_first_not_of('/')) != std::string::npos;) {
        const auto end = std::min(left.find('/', start), left.size());
        const auto name = left.substr(start, end - start);
        left.erase(0, end);
        if (name != ".") error = Enter(name, create, &left);
    }
    if (error == 0) error = Distrust(UntrustedReason(info_, false));
    if (error == 0) key_ = std::to_string(Device()) + ":" + std::to_string(info_.stx_ino) + "/";
    if (error == 0) return 0;
    Close();
    if (failure_.empty()) failure_ = "cannot open directory " + Quote(path) + ": " + ErrorString(error);
    return error;
}

int Directory::OpenFile(const std::string& path, int flags) const {
    const int file = openat(descriptor_, LastName(path), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    FileInfo info{};
    const int error = file == -1 ? errno : StatAt(file, "", &info);
    const char* const reason = error != 0                ? ErrorString(error)
                               : !S_ISREG(info.stx_mode) ? "it is not a regular file"
                                                         : UntrustedReason(info, false);
    if (reason == nullptr) return file;
    if (error != ENOENT) PrintError("cannot open ", Quote(path), ": ", reason);
    if (file != -1) close(file);
    errno = error != 0 ? error : EPERM;
    return -1;
}

bool Directory::Flush(int (*flush)(int)) const {
    const int readable = openat(descriptor_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int error = readable != -1 && flush(readable) == 0 ? 0 : errno;
    if (readable != -1) close(readable);
    return error == 0 || PrintFileError("flush", path_, error);
}

int Directories::Enter(Role role, const std::string& file, bool create) {
    const auto path = Dirname(file);
    if (path == path_[role] && open_[role].Get() != -1) return 0;
    path_[role] = path;
    const int error = open_[role].Open(path_[role], create);
    if (error == 0) fileSystems_.try_emplace(open_[role].Device(), path);
    return error;
}

bool Directories::FlushFileSystems() const {
    for (const auto& [device, path] : fileSystems_) {
        Directory directory;
        if (!directory.OpenOrPrint(path) || !directory.Flush(syncfs)) return false;
    }
    return true;
}
