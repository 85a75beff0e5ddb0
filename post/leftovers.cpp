#include "post/leftovers.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <memory>

#include "post/update_line.h"

// In lower case, since some file systems ignore case. Empty for a name that is not ASCII, where their rules differ.
static std::string Key(const char* name) {
    std::string key;
    for (; isascii(static_cast<unsigned char>(*name)) != 0 && *name != '\0'; ++name) {
        key += static_cast<char>(tolower(*name));
    }
    return *name == '\0' ? key : "";
}

void Leftovers::Directory::Add(const char* name) {
    std::string key = Key(name);
    if (key.empty()) isUsable = false;
    static_assert(kUpdateClearedVariants == 9);
    if (!key.empty() && key.back() >= '1' && key.back() <= '9') key.pop_back();
    if (key.ends_with(kUpdateBackupSuffix)) candidates.insert(key.substr(0, key.rfind('.')));
}

Leftovers::Directory* Leftovers::Find(const char* file) {
    const auto [spelling, isNew] = paths_.try_emplace(std::string(Dirname(file)), nullptr);
    if (!isNew) return spelling->second;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(*file == '/' ? opendir(spelling->first.c_str()) : nullptr,
                                                     closedir);
    struct stat record;
    if (stream == nullptr || fstat(dirfd(stream.get()), &record) != 0) {
        disabled_ = true;
        return nullptr;
    }
    const auto [position, isUnread] = directories_.try_emplace({record.st_dev, record.st_ino});
    Directory& directory = position->second;
    if (isUnread && record.st_size <= std::max<off_t>(largest_, 65536)) {
        directory.isUsable = true;
        for (errno = 0; const dirent* entry = readdir(stream.get()); errno = 0) {
            if (entry->d_type != DT_REG) directory.candidates.insert(Key(entry->d_name));
            directory.Add(entry->d_name);
        }
        if (errno != 0) directory.isUsable = false;
    }
    return spelling->second = &directory;
}

bool Leftovers::NoneBeside(const char* destination) {
    const Directory* directory = disabled_ ? nullptr : Find(destination);
    const std::string name = Key(Basename(destination));
    return directory != nullptr && directory->isUsable && !name.empty() && !directory->candidates.contains(name);
}

void Leftovers::Moves(const char* destination, const char* backup, bool lookedUp) {
    struct stat record;
    if (lookedUp && (lstat(destination, &record) != 0 || !S_ISREG(record.st_mode))) disabled_ = true;
    Directory* directory = disabled_ ? nullptr : Find(destination);
    if (directory != nullptr) directory->Add(Basename(backup));
}
