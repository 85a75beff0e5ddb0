// The commands that write a record: one makes the list too, the other checks one that exists.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "list/commands.h"

namespace {
// The path without links, with a slash behind it; empty when that fails, which is printed.
std::string RealPath(const std::string& path) {
    char real[PATH_MAX];
    if (realpath(path.c_str(), real) != nullptr) return std::string(real) + (real[1] == '\0' ? "" : "/");
    return PrintFileError("open directory", path, errno) ? path : "";
}

// What precedes the names below a directory: its path, as it was given when that is absolute, and one slash.
std::string Prefix(const std::string& directory) {
    Directory opened;  // before the path loses its links
    if (!directory.starts_with('/')) return opened.OpenOrPrint(directory) ? RealPath(directory) : "";
    return directory.substr(0, directory.find_last_not_of('/') + 1) + "/";
}

class Maker {
public:
    Maker(const char* fresh, const char* root) : fresh_(Prefix(fresh)), root_(fresh_.empty() ? "" : Prefix(root)) {}
    // Whether a directory is neither NEW nor below it.
    bool IsApart(const std::string& directory, const char* words) const {
        const auto inner = RealPath(directory), outer = RealPath(fresh_);
        if (inner.empty() || outer.empty()) return false;
        return !inner.starts_with(outer) || PrintError(Quote(directory), words, Quote(fresh_));
    }

    // Adds the files of a directory, whose name relative to NEW ends with a slash.
    bool AddFiles(int parent, const char* name, const std::string& path) {
        const int descriptor = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        DIR* const opened = descriptor == -1 ? nullptr : fdopendir(descriptor);
        const std::unique_ptr<DIR, int (*)(DIR*)> directory(opened, closedir);
        const dirent* entry = nullptr;
        while (opened != nullptr && (errno = 0, (entry = readdir(opened)) != nullptr)) {
            if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
            const auto found = path + entry->d_name;
            FileInfo info{};
            info.stx_mode = static_cast<uint16_t>(DTTOIF(entry->d_type));
            const int error = info.stx_mode == 0 ? StatAt(descriptor, entry->d_name, &info) : 0;
            if (error != 0) return PrintFileError("read the status of", fresh_ + found, error);
            if (found.find_first_of(kUnlistable) != std::string::npos || found.size() > kLongestName) {
                return PrintError("cannot name ", Quote(fresh_ + found), " in a list");
            }
            if (S_ISREG(info.stx_mode) || S_ISLNK(info.stx_mode)) {
                set_.push_back({fresh_ + found, root_ + found, {}, {}, 0});
            } else if (!S_ISDIR(info.stx_mode)) {
                return PrintError(Quote(fresh_ + found), " is neither a file nor a symbolic link nor a directory");
            } else if (!AddFiles(descriptor, entry->d_name, found + "/")) {
                return false;
            }
        }
        return errno == 0 || PrintFileError("read directory", fresh_ + path, errno);
    }

    // Prints the sources that ROOT has no file for; without isAllowed that is an error.
    bool PrintMissing(const std::vector<std::string>& missing, bool isAllowed) const {
        for (const auto& source : missing) {
            if (isAllowed) std::cout << source.substr(fresh_.size()) << '\n';
            if (!isAllowed) PrintError(Quote(root_), " does not have ", Quote(source.substr(fresh_.size())));
        }
        if (!missing.empty() && !isAllowed) return PrintError("a list only replaces files; -m leaves out the others");
        return std::cout.flush().good() || PrintError("cannot write to the standard output");
    }

    bool Make(const char* givenList, bool isMissingAllowed) {
        const auto list = givenList != nullptr ? givenList : root_ + "update.list";
        if (list.empty() || list.ends_with(kUpdateRecordSuffix))
            return PrintError(Quote(list), " is no name of a list");
        Directory top;
        Record record(list + kUpdateRecordSuffix);
        if (fresh_.empty() || root_.empty() || !IsApart(root_, " is or lies below ") ||
            !IsApart(std::string(Dirname(list)), ", the directory of the list, is or lies below ") ||
            !top.OpenOrPrint(fresh_) || !ReserveRecord(&record) || !AddFiles(top.Get(), ".", "")) {
            return false;
        }
        std::sort(set_.begin(), set_.end(), [](const Update& a, const Update& b) { return a.source < b.source; });
        Diagnostics diagnostics(list);
        Directories directories;
        std::vector<std::string> missing;
        CheckFiles(&set_, list, &directories, &diagnostics, &missing);
        return diagnostics.Print() && PrintMissing(missing, isMissingAllowed) && directories.FlushFileSystems() &&
               record.Write(set_, list);
    }

private:
    const std::string fresh_, root_;
    UpdateSet set_;
};
}  // namespace

Status MakeCommand(const Arguments& arguments) {
    Maker maker(arguments.operands[0], arguments.operands[1]);
    return maker.Make(arguments.list, arguments.flag) ? kDone : kRefused;
}

Status CheckCommand(const Arguments& arguments) {
    const std::string list = arguments.operands[0];
    UpdateSet set;
    Diagnostics diagnostics(list);
    Directory directory;
    Record record(list + kUpdateRecordSuffix);
    if (!directory.OpenOrPrint(std::string(Dirname(list)))) return kUsage;
    if (arguments.flag && !ReserveRecord(&record)) return kRefused;  // no make replaces the list from here on
    if (!ListRead(directory, list, &set, &diagnostics)) return kUsage;
    Directories directories;
    CheckFiles(&set, list, &directories, &diagnostics, nullptr);
    if (!diagnostics.Print()) return kRefused;
    if (!arguments.flag) return kDone;
    const auto working = RealPath(".");
    for (Update& update : set) {
        for (std::string* name : {&update.source, &update.destination}) {
            if (!name->starts_with('/')) *name = working + *name;
        }
    }
    return !working.empty() && directories.FlushFileSystems() && record.Write(set) ? kDone : kRefused;
}
