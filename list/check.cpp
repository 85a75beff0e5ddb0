// Everything about the files of an update that would make its run fail or lose a file.
#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <unordered_map>

#include "list/commands.h"

namespace {
constexpr char kHint[] = "; replace a symbolic link to a directory instead";
constexpr uint64_t kFixed = STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND;

std::string ReadAttribute(const std::string& path, const char* name) {
    char value[4096];
    const ssize_t size = lgetxattr(path.c_str(), name, value, sizeof value);
    return size > 0 ? std::string(value, static_cast<size_t>(size)) : "";
}

class Checker {
public:
    Checker(UpdateSet* set, Directories* directories, Diagnostics* diagnostics)
        : set_(*set), directories_(*directories), diagnostics_(*diagnostics), files_(2 * set->size()) {}

    // False, with nothing reported, when the destination does not exist and may be missing.
    bool CheckUpdate(size_t index, bool mayBeMissing) {
        Update& update = set_[index];
        FileInfo infos[2]{};
        int errors[2]{};
        for (const Role role : {kSource, kDestination}) {
            const auto& path = update.Path(role);
            errors[role] = directories_.Enter(role, path);
            if (errors[role] == 0) errors[role] = StatAt(directories_.At(role).Get(), LastName(path), &infos[role]);
        }
        if (mayBeMissing && errors[kSource] == 0 && errors[kDestination] == ENOENT) return false;
        for (const Role role : {kSource, kDestination}) CheckFile({index, role}, errors[role], infos[role]);
        if (errors[kSource] != 0 || errors[kDestination] != 0) return true;
        const FileInfo &fresh = infos[kSource], &old = infos[kDestination];
        const Directory &from = directories_.At(kSource), &to = directories_.At(kDestination);
        if (from.Device() != to.Device() || from.Info().stx_mnt_id != to.Info().stx_mnt_id) {
            diagnostics_.Error(update.line, Words({index, kSource}), " and ", Words({index, kDestination}),
                               " are on different file systems");
        }
        if (S_ISREG(fresh.stx_mode) && S_ISREG(old.stx_mode)) CheckAttributes(update, fresh, old);
        // On an overlay a rename gives a file of a lower layer another birth.
        const bool isByBirth = (fresh.stx_mask & old.stx_mask & STATX_BTIME) != 0 && !notes_[to.Key()].isOverlay;
        update.newFile = Identity(fresh, isByBirth);
        update.oldFile = Identity(old, isByBirth);
        return true;
    }

    // After the last update.
    void CheckNames(const std::string& list) {
        for (const auto& [key, file] : files_) {
            const File* const owner = FindByBackup(key);
            if (owner != nullptr) Report(&file, " is a backup name of ", Words(*owner), " of line ", LineOf(*owner));
        }
        for (const auto& [key, notes] : notes_) {
            if (notes.line != 0) CheckLeftovers(key, notes.path, notes.line);
        }
        if (directories_.Enter(kDestination, list) != 0) return;
        const auto key = directories_.At(kDestination).Key() + LastName(list);
        Report(Find(key), " is the list itself");
        Report(Find(key + kUpdateRecordSuffix), " is the record itself");
    }

private:
    struct File {
        size_t index;
        Role role;
    };
    struct Notes {
        std::string path;  // the first that led to the directory
        int line = 0;      // the first that has a destination in it
        bool isOverlay = false;
    };

    int LineOf(const File& file) const { return set_[file.index].line; }
    const std::string& Path(const File& file) const { return set_[file.index].Path(file.role); }
    std::string Words(const File& file) const { return kRoleNames[file.role] + (" " + Quote(Path(file))); }
    void Report(const File* file, const auto&... words) {
        if (file != nullptr) diagnostics_.Error(LineOf(*file), Words(*file), words...);
    }

    const File* Find(const std::string& key) const {
        const auto found = files_.find(key);
        return found == files_.end() ? nullptr : &found->second;
    }

    // The destination of which this is the backup name, or a numbered one that a run clears.
    const File* FindByBackup(std::string_view key) const {
        static_assert(kUpdateClearedVariants == 9);
        if (key.back() >= '1' && key.back() <= '9') key.remove_suffix(1);
        if (!key.ends_with(kUpdateBackupSuffix)) return nullptr;
        const File* const file = Find(std::string(key.substr(0, key.rfind('.'))));
        return file != nullptr && file->role == kDestination ? file : nullptr;
    }

    void CheckFile(const File& file, int error, const FileInfo& info) {
        const Directory& directory = directories_.At(file.role);
        const int line = LineOf(file);
        const bool isMount = (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
        if (!Path(file).starts_with('/')) diagnostics_.Warning(line, Words(file), " is a relative name");
        if (file.role == kDestination && UpdateBackupIsCut(Path(file))) {
            Report(&file, " is too long: its backup name would be cut");
        }
        if (directory.Get() != -1) CheckDirectory(file, line, directory);
        if (error == ENOENT) return Report(&file, " is missing");
        if (error == ENOTDIR) return Report(&file, " is missing: a file is in the place of a directory", kHint);
        if (directory.Get() == -1) {
            if (failure_ != directory.Failure()) diagnostics_.Error(line, directory.Failure());
            failure_ = directory.Failure();
        } else if (error != 0) {
            Report(&file, " cannot be read: ", ErrorString(error));
        } else if (S_ISDIR(info.stx_mode)) {
            Report(&file, " is a directory", kHint);
        } else if (isMount || (info.stx_attributes & kFixed) != 0) {
            Report(&file, isMount ? " is a mount point" : " is immutable");
        }
    }

    // Enters the file in the table, and checks its directory when that is the first in it.
    void CheckDirectory(const File& file, int line, const Directory& directory) {
        const auto [at, isFirst] = files_.try_emplace(directory.Key() + LastName(Path(file)), file);
        const File& first = at->second;
        const int other = LineOf(first);
        const auto as = Path(file) == Path(first) ? "" : ", as " + Quote(Path(first));
        if (!isFirst && file.role == first.role) Report(&file, " stands on line ", other, " too", as);
        if (file.role != first.role) Report(&file, " is the ", kRoleNames[first.role], " of line ", other, as);
        const auto [entry, isNew] = notes_.try_emplace(directory.Key());
        Notes& notes = entry->second;
        if (file.role == kDestination && notes.line == 0) notes.line = line;
        if (!isNew) return;
        notes.path = Dirname(Path(file));
        const auto words = "directory " + Quote(notes.path);
        int error = faccessat(directory.Get(), ".", W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
        if ((directory.Info().stx_attributes & kFixed) != 0) error = EPERM;
        if (error != 0) diagnostics_.Error(line, words, " may not be written: ", ErrorString(error));
        struct statfs status {};
        fstatfs(directory.Get(), &status);
        notes.isOverlay = status.f_type == OVERLAYFS_SUPER_MAGIC;
        if (status.f_type == MSDOS_SUPER_MAGIC || status.f_type == EXFAT_SUPER_MAGIC) {
            diagnostics_.Error(line, words, " is on a file system without stable inodes");
        }
    }

    // What the renames bring with the new file.
    void CheckAttributes(const Update& update, const FileInfo& fresh, const FileInfo& old) {
        std::string lost;
        const auto compare = [&](const char* name, bool isKept) { lost += isKept ? "" : std::string(", ") + name; };
        compare("owner", fresh.stx_uid == old.stx_uid);
        compare("group", fresh.stx_gid == old.stx_gid);
        compare("mode", fresh.stx_mode == old.stx_mode);
        const bool hasAttributes = llistxattr(update.destination.c_str(), nullptr, 0) > 0;
        for (const auto& [name, attribute] :
             {std::pair{"capabilities", "security.capability"}, std::pair{"ACL", "system.posix_acl_access"}}) {
            const auto value = hasAttributes ? ReadAttribute(update.destination, attribute) : "";
            compare(name, value.empty() || value == ReadAttribute(update.source, attribute));
        }
        if (lost.empty()) return;
        diagnostics_.Warning(update.line, "destination ", Quote(update.destination), " loses its ", lost.substr(2),
                             ": the source differs");
    }

    // The backup names that exist already.
    void CheckLeftovers(const std::string& key, const std::string& path, int line) {
        const std::unique_ptr<DIR, int (*)(DIR*)> names(opendir(path.c_str()), closedir);
        if (const int error = errno; names == nullptr)
            diagnostics_.Warning(line, Quote(path), " cannot be searched for leftovers: ", ErrorString(error));
        while (const dirent* entry = names == nullptr ? nullptr : readdir(names.get())) {
            if (strstr(entry->d_name, kUpdateBackupSuffix) == nullptr) continue;
            const File* const owner = FindByBackup(key + entry->d_name);
            // One that is a file of the list is an error.
            if (owner == nullptr || entry->d_type == DT_DIR || Find(key + entry->d_name) != nullptr) continue;
            diagnostics_.Warning(LineOf(*owner), Quote(path + (path == "/" ? "" : "/") + entry->d_name),
                                 " is a leftover that the run will delete");
        }
    }

    UpdateSet& set_;
    Directories& directories_;
    Diagnostics& diagnostics_;
    std::unordered_map<std::string, File> files_;   // by the key of their directory and their last name
    std::unordered_map<std::string, Notes> notes_;  // by the key of the directory
    std::string failure_;                           // of the last directory that could not be opened
};
}  // namespace

void CheckFiles(UpdateSet* set, const std::string& list, Directories* directories, Diagnostics* diagnostics,
                std::vector<std::string>* missing) {
    Checker checker(set, directories, diagnostics);
    size_t kept = 0;
    for (size_t i = 0; i < set->size(); ++i) {
        Update& update = (*set)[kept];
        if (i != kept) std::swap(update, (*set)[i]);
        if (missing != nullptr) update.line = static_cast<int>(kept) + 1;
        const bool isKept = checker.CheckUpdate(kept, missing != nullptr);
        if (!isKept) missing->push_back(update.source);
        kept += isKept ? 1 : 0;
    }
    set->resize(kept);
    checker.CheckNames(list);
}
