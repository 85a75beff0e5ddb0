#include "list/tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "list/arena.h"
#include "list/message.h"

namespace {

// The kind of an entry in the form of d_type, which not every file system fills in. DT_UNKNOWN with errno when it can't
// be told.
unsigned char KindOf(DIR* folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type;
    struct stat record;
    if (fstatat(dirfd(folder), entry.d_name, &record, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
    return static_cast<unsigned char>(IFTODT(record.st_mode));
}

class Walk {
public:
    Walk(const std::string& prefix, const std::function<void(const std::string&)>& visit)
        : path_(prefix), root_(prefix.size()), visit_(visit) {}

    // The folder path_, which ends with a slash. It is read whole and closed before those below it are opened. A folder
    // among its names has its slash, and stands with it where the names below it belong.
    bool Folder() {
        Arena texts;
        std::vector<std::string_view> names;
        if (!Read(&texts, &names)) return false;
        std::sort(names.begin(), names.end());
        const size_t length = path_.size();
        for (const auto name : names) {
            path_ += name;
            if (name.back() != '/') {
                visit_(path_.substr(root_));
            } else if (!Folder()) {
                return false;
            }
            path_.resize(length);
        }
        return true;
    }

private:
    bool Read(Arena* texts, std::vector<std::string_view>* names) {
        DIR* const folder = opendir(path_.c_str());
        if (folder == nullptr) return RefuseFile("open", path_.c_str(), errno);
        bool good = true;
        while (good) {
            errno = 0;
            const dirent* const entry = readdir(folder);
            if (entry == nullptr) {
                good = errno == 0 || RefuseFile("read", path_.c_str(), errno);
                break;
            }
            good = Take(folder, *entry, texts, names);
        }
        closedir(folder);
        return good;
    }

    bool Take(DIR* folder, const dirent& entry, Arena* texts, std::vector<std::string_view>* names) {
        const std::string_view name = entry.d_name;
        if (name == "." || name == "..") return true;
        const auto kind = KindOf(folder, entry);
        const auto path = [&] { return path_ + entry.d_name; };
        if (kind == DT_UNKNOWN) return RefuseFile("look at", path().c_str(), errno);
        if (kind != DT_REG && kind != DT_LNK && kind != DT_DIR) {
            return Refuse(Quoted{path().c_str()}, " is neither a file nor a symbolic link nor a folder");
        }
        const char* const text = texts->Add(name, kind == DT_DIR ? "/" : "");
        names->emplace_back(text, name.size() + (kind == DT_DIR ? 1 : 0));
        return true;
    }

    std::string path_;
    const size_t root_;
    const std::function<void(const std::string&)>& visit_;
};

}  // namespace

bool TreeWalk(const std::string& prefix, const std::function<void(const std::string& name)>& visit) {
    return Walk(prefix, visit).Folder();
}
