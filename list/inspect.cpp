#include "list/inspect.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <map>
#include <string_view>
#include <unordered_map>

#include "list/folder.h"
#include "list/message.h"
#include "list/record.h"

namespace {

enum Role { kSource, kDestination };
constexpr const char* kRoleNames[] = {"source", "destination"};

const char* NameOf(const Update& update, Role role) { return role == kSource ? update.source : update.destination; }

// A folder as one path leads to it. Two paths may lead to one folder, which has one number.
struct Way {
    int error;  // errno of its opening
    uint32_t number;
    uint64_t device, mount;  // also of one that isn't there yet, where files are added
};

// A file, by the folder that it lies in and its last name.
struct Place {
    const char* name;
    uint32_t way;
    uint16_t error;
    bool isFolder, isMountPoint, isFixed;
};

struct Folder {
    std::string path;
    int error;                // why names in it can't change
    std::array<int, 2> line;  // the first that has a source or a destination in it, or 0
};

// The destination whose backup name, or a numbered one that is cleared before its line, a name is; empty for others.
std::string_view DestinationOfBackup(std::string_view name) {
    const auto number = name.find_last_not_of("0123456789") + 1;
    const auto digits = name.substr(number);
    if (digits.size() > 1 || digits == "0") return {};
    static_assert(kUpdateClearedVariants == 9);
    name = name.substr(0, number);
    if (!name.ends_with(kUpdateBackupSuffix)) return {};
    return name.substr(0, name.size() - strlen(kUpdateBackupSuffix));
}

// Finds the files of the set by folder and name. The table holds numbers of files, and none for one that stands there
// already; twice as many places as files, so that a search ends soon.
class FileTable {
public:
    static constexpr uint32_t kNone = 0;

    explicit FileTable(size_t files) : table_(std::bit_ceil(2 * files + 1), kNone) {}

    // The place of a file that fits, or the empty one where it belongs.
    template <class Fits>
    uint32_t* Find(uint32_t folder, std::string_view name, const Fits& fits) {
        const size_t mask = table_.size() - 1;
        size_t at = (std::hash<std::string_view>()(name) + folder * size_t{0x9E3779B1}) & mask;
        while (table_[at] != kNone && !fits(table_[at])) at = (at + 1) & mask;
        return &table_[at];
    }

private:
    std::vector<uint32_t> table_;
};

class Inspector {
public:
    Inspector(Absent absent, UpdateSet* set, Findings* findings, Inspection* result)
        : absent_(absent), set_(set), findings_(findings), result_(result) {}

    void Look() {
        places_.reserve(2 * set_->updates.size());
        for (Update& update : set_->updates) {
            places_.push_back(LookAt(kSource, update.source, &update.newFile));
            places_.push_back(LookAt(kDestination, update.destination, &update.oldFile));
        }
    }

    void ListFileSystems();
    void TakeAdded();
    void Report(const std::string& list);

private:
    static constexpr uint32_t kNowhere = UINT32_MAX;

    Place LookAt(Role role, const char* path, FileIdentity* identity);
    uint32_t WayTo(Role role, const char* path);
    uint32_t NumberOf(const FileSeen& folder, const OpenFolder& open);
    const Place& PlaceOf(const Update& update, Role role) const {
        return places_[2 * static_cast<size_t>(&update - set_->updates.data()) + static_cast<size_t>(role)];
    }
    void ReportFile(const Update& update, Role role);
    void ReportPair(const Update& update, const Way& from, const Way& to);
    void ReportFolders();
    void ReportTwice(FileTable* table);
    void ReportBackups(FileTable* table);
    void ReportLeftovers(FileTable* table, uint32_t number);
    void ReportOwn(FileTable* table, const std::string& own, const char* what);
    uint32_t* Find(FileTable* table, uint32_t folder, std::string_view name) const {
        return table->Find(folder, name, [&](uint32_t file) {
            const Place& place = places_[file - 1];
            return ways_[place.way].number == folder && place.name == name;
        });
    }
    const Update& UpdateOf(uint32_t file) const { return set_->updates[(file - 1) / 2]; }
    static Role RoleOf(uint32_t file) { return (file - 1) % 2 == 0 ? kSource : kDestination; }

    const Absent absent_;
    UpdateSet* const set_;
    Findings* const findings_;
    Inspection* const result_;
    std::vector<Place> places_;  // source and destination of each update in turn
    std::vector<Way> ways_;
    std::vector<Folder> folders_;  // by number
    std::unordered_map<std::string, uint32_t> wayOf_;
    std::map<std::pair<uint64_t, uint64_t>, uint32_t> numberOf_;  // by device and inode
    std::array<OpenFolder, 2> open_;
    std::array<uint32_t, 2> way_{};
};

uint32_t Inspector::NumberOf(const FileSeen& folder, const OpenFolder& open) {
    const auto number = static_cast<uint32_t>(folders_.size());
    const auto [at, isNew] = numberOf_.try_emplace({folder.device, folder.identity.inode}, number);
    if (isNew) {
        int error = faccessat(open.Get(), ".", W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
        if (folder.isFixed) error = EPERM;
        folders_.push_back({.path = open.Path(), .error = error, .line = {}});
    }
    return at->second;
}

// The folder in which one that isn't there will be made, and those that lead to it.
int LookAbove(std::string folder, FileSeen* seen) {
    OpenFolder above;
    int error;
    while ((error = above.Enter(folder.c_str())) == ENOENT && above.Path() != folder) folder = above.Path();
    return error != 0 ? error : FileLook(above.Get(), ".", seen);
}

// The way to the folder of a path, which is then the open one of the role.
uint32_t Inspector::WayTo(Role role, const char* path) {
    OpenFolder& open = open_[role];
    Way way{.error = open.Enter(path), .number = kNowhere, .device = 0, .mount = 0};
    if (!open.Changed()) return way_[role];
    const auto [at, isNew] = wayOf_.try_emplace(open.Path(), static_cast<uint32_t>(ways_.size()));
    way_[role] = at->second;
    if (!isNew) return at->second;
    FileSeen folder{};
    if (way.error == 0) way.error = FileLook(open.Get(), ".", &folder);
    if (way.error == ENOENT && role == kDestination && absent_ == Absent::Added) {
        if (const int error = LookAbove(open.Path(), &folder)) way.error = error;
    }
    way.device = folder.device;
    way.mount = folder.mount;
    if (way.error == 0) way.number = NumberOf(folder, open);
    ways_.push_back(way);
    return at->second;
}

Place Inspector::LookAt(Role role, const char* path, FileIdentity* identity) {
    Place place{.name = FileNameOf(path),
                .way = WayTo(role, path),
                .error = 0,
                .isFolder = false,
                .isMountPoint = false,
                .isFixed = false};
    int error = ways_[place.way].error;
    FileSeen seen{};
    if (error == 0) error = FileLook(open_[role].Get(), place.name, &seen);
    *identity = seen.identity;
    place.error = static_cast<uint16_t>(error);
    place.isFolder = seen.isFolder;
    place.isMountPoint = seen.isMountPoint;
    place.isFixed = seen.isFixed;
    return place;
}

// Of the sources, each by the first folder on it.
void Inspector::ListFileSystems() {
    std::vector<uint64_t> listed;
    for (const Update& update : set_->updates) {
        const Way& way = ways_[PlaceOf(update, kSource).way];
        if (way.error != 0 || std::find(listed.begin(), listed.end(), way.device) != listed.end()) continue;
        listed.push_back(way.device);
        result_->fileSystems.push_back(folders_[way.number].path);
    }
}

void Inspector::TakeAdded() {
    auto& updates = set_->updates;
    size_t kept = 0;
    for (size_t i = 0; i < updates.size(); ++i) {
        if (places_[2 * i].error == 0 && places_[2 * i + 1].error == ENOENT) {
            updates[i].line = 0;
            if (absent_ == Absent::Added) {
                ReportPair(updates[i], ways_[places_[2 * i].way], ways_[places_[2 * i + 1].way]);
            }
            result_->added.push_back(updates[i]);
            continue;
        }
        updates[kept] = updates[i];
        places_[2 * kept] = places_[2 * i];
        places_[2 * kept + 1] = places_[2 * i + 1];
        ++kept;
        updates[kept - 1].line = static_cast<int>(kept);
    }
    updates.resize(kept);
    places_.resize(2 * kept);
}

void Inspector::ReportFile(const Update& update, Role role) {
    const Place& place = PlaceOf(update, role);
    const char* const path = NameOf(update, role);
    const auto report = [&](const auto&... words) {
        findings_->Error(update.line, kRoleNames[role], " ", Quoted{path}, " ", words...);
    };
    if (*path != '/') findings_->Warning(update.line, kRoleNames[role], " ", Quoted{path}, " is a relative name");
    if (role == kDestination &&
        (UpdateSetBackupIsCut(path) || strlen(place.name) + strlen(kUpdateBackupSuffix) > NAME_MAX)) {
        report("is too long: its backup name would be cut");
    }
    if (place.error == ENOENT) return report("is missing");
    if (place.error != 0) return report("can't be looked at: ", ErrorString(place.error));
    if (place.isFolder) return report("is a folder");
    if (place.isMountPoint) return report("is a mount point");
    if (place.isFixed) return report("is immutable");
    int& line = folders_[ways_[place.way].number].line[role];
    if (line == 0) line = update.line;
}

void Inspector::ReportPair(const Update& update, const Way& from, const Way& to) {
    if (from.device == to.device && from.mount == to.mount) return;
    findings_->Error(update.line, "source ", Quoted{update.source}, " and destination ", Quoted{update.destination},
                     " are on different file systems");
}

void Inspector::ReportFolders() {
    for (const Folder& folder : folders_) {
        const auto [source, destination] = folder.line;
        const int line = source == 0 || (destination != 0 && destination < source) ? destination : source;
        if (folder.error == 0 || line == 0) continue;
        findings_->Error(line, "folder ", Quoted{folder.path.c_str()},
                         " may not be written: ", ErrorString(folder.error));
    }
}

// Fills the table; says what stands in it already.
void Inspector::ReportTwice(FileTable* table) {
    for (uint32_t file = 1; file <= places_.size(); ++file) {
        const Place& place = places_[file - 1];
        const uint32_t folder = ways_[place.way].number;
        if (folder == kNowhere) continue;
        uint32_t* const at = Find(table, folder, place.name);
        if (*at == FileTable::kNone) {
            *at = file;
            continue;
        }
        const Update &update = UpdateOf(file), &first = UpdateOf(*at);
        const Role role = RoleOf(file), firstRole = RoleOf(*at);
        const char *const path = NameOf(update, role), *const firstPath = NameOf(first, firstRole);
        std::ostringstream as;
        if (strcmp(path, firstPath) != 0) as << ", as " << Quoted{firstPath};
        if (role == firstRole) {
            findings_->Error(update.line, kRoleNames[role], " ", Quoted{path}, " stands on line ", first.line, " too",
                             as.str());
        } else {
            findings_->Error(update.line, kRoleNames[role], " ", Quoted{path}, " is the ", kRoleNames[firstRole],
                             " of line ", first.line, as.str());
        }
    }
}

void Inspector::ReportBackups(FileTable* table) {
    for (uint32_t file = 1; file <= places_.size(); ++file) {
        const Place& place = places_[file - 1];
        const auto destination = DestinationOfBackup(place.name);
        if (destination.empty()) continue;
        const uint32_t owner = *Find(table, ways_[place.way].number, destination);
        if (owner == FileTable::kNone || RoleOf(owner) != kDestination) continue;
        const Update &update = UpdateOf(file), &other = UpdateOf(owner);
        const Role role = RoleOf(file);
        findings_->Error(update.line, kRoleNames[role], " ", Quoted{NameOf(update, role)},
                         " is a backup name of destination ", Quoted{other.destination}, " of line ", other.line);
    }
}

// The backup names that lie in a folder of destinations already.
void Inspector::ReportLeftovers(FileTable* table, uint32_t number) {
    const Folder& folder = folders_[number];
    const auto prefix = folder.path == "/" ? folder.path : folder.path + "/";
    DIR* const names = opendir(folder.path.c_str());
    if (names == nullptr) {
        const int error = errno;
        findings_->Warning(folder.line[kDestination], "folder ", Quoted{folder.path.c_str()},
                           " can't be searched for leftovers: ", ErrorString(error));
        return;
    }
    while (const dirent* entry = readdir(names)) {
        const auto destination = DestinationOfBackup(entry->d_name);
        if (destination.empty() || entry->d_type == DT_DIR) continue;
        const uint32_t owner = *Find(table, number, destination);
        if (owner == FileTable::kNone || RoleOf(owner) != kDestination) continue;
        if (*Find(table, number, entry->d_name) != FileTable::kNone) continue;  // a file of the list, an error
        const auto path = prefix + entry->d_name;
        findings_->Warning(UpdateOf(owner).line, Quoted{path.c_str()}, " is a leftover that the run will delete");
    }
    closedir(names);
}

void Inspector::ReportOwn(FileTable* table, const std::string& own, const char* what) {
    OpenFolder open;
    FileSeen folder;
    if (open.Enter(own.c_str()) != 0 || FileLook(open.Get(), ".", &folder) != 0) return;
    const auto number = numberOf_.find({folder.device, folder.identity.inode});
    if (number == numberOf_.end()) return;
    const uint32_t file = *Find(table, number->second, FileNameOf(own.c_str()));
    if (file == FileTable::kNone) return;
    const Role role = RoleOf(file);
    findings_->Error(UpdateOf(file).line, kRoleNames[role], " ", Quoted{NameOf(UpdateOf(file), role)}, " is the ", what,
                     " itself");
}

void Inspector::Report(const std::string& list) {
    for (const Update& update : set_->updates) {
        for (const Role role : {kSource, kDestination}) ReportFile(update, role);
        const Way& from = ways_[PlaceOf(update, kSource).way];
        const Way& to = ways_[PlaceOf(update, kDestination).way];
        if (from.error == 0 && to.error == 0) ReportPair(update, from, to);
    }
    ReportFolders();
    FileTable table(places_.size());
    ReportTwice(&table);
    ReportBackups(&table);
    for (uint32_t number = 0; number < folders_.size(); ++number) {
        if (folders_[number].line[kDestination] != 0) ReportLeftovers(&table, number);
    }
    ReportOwn(&table, list, "list");
    ReportOwn(&table, list + kRecordSuffix, "record");
}

}  // namespace

void Findings::Print() {
    std::sort(found_.begin(), found_.end());
    for (const auto& [line, text] : found_) {
        const auto place = line == 0 ? list_ : list_ + ":" + std::to_string(line);
        LogPlain() << place << ": " << text << "\n";
    }
}

Inspection InspectFiles(const std::string& list, Absent absent, UpdateSet* set, Findings* findings) {
    Inspection result;
    Inspector inspector(absent, set, findings, &result);
    inspector.Look();
    inspector.ListFileSystems();
    if (absent != Absent::Error) inspector.TakeAdded();
    inspector.Report(list);
    return result;
}
