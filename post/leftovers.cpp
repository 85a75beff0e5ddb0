#include "post/leftovers.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <memory>

#include "post/update_line.h"

// Some file systems ignore the case of names. Empty for a name that is not ASCII: which of those are equal differs.
static std::string Key(const char* name) {
    std::string key(name);
    for (char& character : key) {
        if (isascii(static_cast<unsigned char>(character)) == 0) return {};
        character = static_cast<char>(tolower(character));
    }
    return key;
}

void Leftovers::Directory::Add(const char* name) {
    std::string key = Key(name);
    if (key.empty()) isKnown = false;
    static_assert(kUpdateClearedVariants == 9);
    if (!key.empty() && key.back() >= '1' && key.back() <= '9') key.pop_back();
    if (!key.ends_with(kUpdateBackupSuffix)) return;
    doubtful.insert(key.substr(0, key.rfind('.')));
}

Leftovers::Directory* Leftovers::Find(const char* file) {
    const auto [spelling, isNew] = paths_.try_emplace(std::string(Dirname(file)), nullptr);
    if (!isNew) return spelling->second;
    const std::unique_ptr<DIR, int (*)(DIR*)> names(*file == '/' ? opendir(spelling->first.c_str()) : nullptr,
                                                    closedir);
    struct stat record;
    if (names == nullptr || fstat(dirfd(names.get()), &record) != 0) {
        knowsNothing_ = true;
        return nullptr;
    }
    const auto [place, isUnread] = directories_.try_emplace({record.st_dev, record.st_ino});
    Directory& directory = place->second;
    if (isUnread && record.st_size <= 65536) {
        directory.isKnown = true;
        for (errno = 0; const dirent* entry = readdir(names.get()); errno = 0) {
            if (entry->d_type != DT_REG) directory.doubtful.insert(Key(entry->d_name));
            directory.Add(entry->d_name);
        }
        if (errno != 0) directory.isKnown = false;
    }
    return spelling->second = &directory;
}

bool Leftovers::NoneBeside(const char* destination) {
    const Directory* directory = knowsNothing_ ? nullptr : Find(destination);
    if (directory == nullptr || !directory->isKnown) return false;
    const std::string name = Key(Basename(destination));
    return !name.empty() && !directory->doubtful.contains(name);
}

void Leftovers::Moves(const char* destination, const char* backup, bool asked) {
    struct stat record;
    if (asked && (lstat(destination, &record) != 0 || !S_ISREG(record.st_mode))) knowsNothing_ = true;
    Directory* directory = knowsNothing_ ? nullptr : Find(destination);
    if (directory != nullptr) directory->Add(Basename(backup));
}
