#include "post/leftovers.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "common/io/file.h"
#include "post/update_line.h"

namespace {

// A folder is looked at with its second line, and again when its lines have doubled. A file system takes some 20 bytes
// for a name in memory and some 40 on a disk, in blocks of 4,096, and reading a name costs a twelfth of a question: so
// much reading is a few hundredths of what many lines have cost that pay for it, and of two what one of them gives
// back. Half as much is read ahead of that for the list as a whole, whose lines have some hundred bytes. Some systems
// say little of a folder's size, hence the limit of names.
constexpr uint64_t kFirstLook = 2;
constexpr uint64_t kNoLook = std::numeric_limits<uint64_t>::max();
constexpr uint64_t kBlock = 4096, kBytesOfLine = 256, kBytesOfName = 16;

// To find where a path leads is one question. There may be one for two lines, one more for the first look, and so many
// more for each line that was spared its twelve.
constexpr uint64_t kFindsSpared = 4;

constexpr std::string_view kSuffix = kUpdateBackupSuffix;

// Equal for names that differ in case alone, which some file systems take for one. 0 for a name with other than ASCII
// characters: which of those are taken for others depends on the file system.
uint64_t Hash(std::string_view name) {
    uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (isascii(byte) == 0) return 0;
        hash = (hash ^ (byte | 0x20U)) * 0x100000001b3;
    }
    return hash;
}

// As strcasestr(3) would tell, which costs as much as all the rest of a line here.
const char* FindSuffix(const char* name) {
    while ((name = strchr(name, kSuffix[0])) != nullptr) {
        if (strncasecmp(name, kSuffix.data(), kSuffix.size()) == 0) break;
        ++name;
    }
    return name;
}

// False for a name that can't be compared.
bool Note(const dirent& entry, std::unordered_set<uint64_t>* asked) {
    const char* const name = entry.d_name;
    const uint64_t hash = Hash(name);
    if (hash == 0) return false;
    if (entry.d_type != DT_REG) asked->insert(hash);
    // It may be the backup name, or a variant, of what stands in front of the suffix.
    for (const char* suffix = name; (suffix = FindSuffix(suffix)) != nullptr; ++suffix) {
        asked->insert(Hash({name, suffix}));
    }
    return true;
}

struct Closes {
    void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

bool Leftovers::NoneBeside(const char* destination, dev_t* device) noexcept {
    try {
        return Ask(destination, device);
    } catch (const std::bad_alloc&) {
        Forget();
        return false;
    }
}

void Leftovers::Forget() noexcept {
    places_.clear();
    ++turn_;
}

Leftovers::Folders::value_type& Leftovers::FolderOf(const char* destination) {
    const std::string_view path = UpdateFolder(destination);
    if (last_ == nullptr || last_->first != path) last_ = &*folders_.try_emplace(std::string(path)).first;
    return *last_;
}

bool Leftovers::Ask(const char* destination, dev_t* device) {
    auto& [path, folder] = FolderOf(destination);
    ++lines_;
    if (++folder.lines == 1) folder.due = ahead_ < kBlock ? kFirstLook : 1;
    const bool found = folder.turn == turn_;
    const bool look = folder.lines >= folder.due && !(found && folder.place->second.known);
    if (look || (!places_.empty() && !found)) Find(path, look, &folder);
    if (folder.turn != turn_ || !folder.place->second.known) return false;

    auto& [identity, names] = *folder.place;
    // Empty behind a slash at the end, a name that no rename takes.
    const char* const slash = strrchr(destination, '/');
    const char* const name = slash == nullptr ? destination : slash + 1;
    const uint64_t hash = Hash(name);
    // A name that can't be compared wasn't there; a backup may be a folder that this run has moved there.
    if (hash == 0 || FindSuffix(name) != nullptr || !names.asked.insert(hash).second) return false;
    *device = identity.first;
    ++spared_;
    return true;
}

// Two paths can lead to one folder, and a line that comes by an unknown path could make names in a known one.
void Leftovers::Find(const std::string& path, bool look, Folder* folder) {
    struct stat record;
    if (look) folder->due = 2 * folder->lines;
    if (++finds_ > 1 + lines_ / 2 + kFindsSpared * spared_ || FileStat(path.c_str(), &record) != 1) {
        Forget();
        return;
    }
    folder->place = &*places_.try_emplace({record.st_dev, record.st_ino}).first;
    folder->turn = turn_;
    if (look && !folder->place->second.known) Look(path, static_cast<uint64_t>(record.st_size), folder);
}

void Leftovers::Look(const std::string& path, uint64_t size, Folder* folder) {
    const uint64_t paid = folder->lines < kFirstLook ? 0 : std::max(kBlock, kBytesOfLine * folder->lines);
    const uint64_t allowed = std::max(paid, ahead_);
    if (size > allowed) {
        folder->due = size / kBytesOfLine + 1;
        return;
    }
    Names& names = folder->place->second;
    const std::unique_ptr<DIR, Closes> stream(opendir(path.c_str()));
    bool comparable = stream != nullptr;
    uint64_t read = 0;
    for (; comparable && read <= allowed; read += kBytesOfName) {
        errno = 0;
        const dirent* const entry = readdir(stream.get());
        if (entry == nullptr) {
            names.known = errno == 0;
            break;
        }
        comparable = Note(*entry, &names.asked);
    }
    const uint64_t cost = std::max({size, read, kBlock});
    if (cost > paid) ahead_ -= std::min(ahead_, cost);
    if (names.known) return;
    if (read <= allowed) folder->due = kNoLook;  // it will not be read with more lines either
}
