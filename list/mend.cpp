#include "list/mend.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <utility>

#include "list/message.h"
#include "list/record.h"

namespace {

// A backup name without its folder.
class BackupOf {
public:
    BackupOf(const char* destination, int name) : text_(FileNameOf(destination)) {
        text_ += kUpdateBackupSuffix;
        if (name > kBackupName) text_ += std::to_string(name - kBackupName);
    }
    const char* Get() const { return text_.c_str(); }

private:
    std::string text_;
};

// Nothing is there when a folder isn't, either.
int LookFor(const OpenFolder& folder, int folderError, const char* name, std::optional<FileIdentity>* sighting) {
    FileSeen seen;
    const int error = folderError != 0 ? folderError : FileLook(folder.Get(), name, &seen);
    if (error == 0) *sighting = seen.identity;
    return error == ENOENT || error == ENOTDIR ? 0 : error;
}

std::string NameOf(const Update& update, int name) {
    if (name == kSourceName) return update.source;
    const std::string destination = update.destination;
    return name == kDestinationName
               ? destination
               : destination.substr(0, destination.rfind('/') + 1) + BackupOf(update.destination, name).Get();
}

}  // namespace

// Goes to the folder of a destination; of one that is new it is noted which backup names there are, so that they are
// looked for under those that may be there alone.
bool Mending::EnterDestination(const Update& update) {
    const int error = destination_.Enter(update.destination);
    if (error != 0)
        return error == ENOENT || error == ENOTDIR || RefuseFile("open", destination_.Path().c_str(), error);
    if (!destination_.Changed()) return true;
    const auto [at, isNew] = backupsIn_.try_emplace(destination_.Path(), kPlain | kNumbered);
    if (!isNew) return true;
    FileSeen folder;
    if (FileLook(destination_.Get(), ".", &folder) == 0) fileSystems_.try_emplace(folder.device, destination_.Path());
    const std::unique_ptr<DIR, int (*)(DIR*)> names(opendir(destination_.Path().c_str()), closedir);
    if (names == nullptr) return true;  // any may be there
    at->second = 0;
    while (const dirent* entry = readdir(names.get())) {
        const char* suffix = entry->d_name;
        const char* last = nullptr;
        while ((suffix = strstr(suffix, kUpdateBackupSuffix)) != nullptr) {
            suffix += strlen(kUpdateBackupSuffix);
            last = suffix;
        }
        if (last != nullptr) at->second |= *last == '\0' ? kPlain : kNumbered;
    }
    return true;
}

bool Mending::LookAtLine(const Update& update, LineSightings* sightings) {
    if (!EnterDestination(update)) return false;
    const auto look = [&](const OpenFolder& folder, int folderError, const char* name, int at) {
        const int error = LookFor(folder, folderError, name, &(*sightings)[static_cast<size_t>(at)]);
        return error == 0 || RefuseFile("look at", NameOf(update, at).c_str(), error);
    };
    const int error = destination_.Get() == -1 ? ENOENT : 0;
    const auto found = backupsIn_.find(destination_.Path());
    const uint8_t backups = found == backupsIn_.end() ? 0 : found->second;
    if (!look(source_, source_.Enter(update.source), FileNameOf(update.source), kSourceName) ||
        !look(destination_, error, FileNameOf(update.destination), kDestinationName)) {
        return false;
    }
    for (int name = kBackupName; name < kLineNames; ++name) {
        if ((backups & (name == kBackupName ? kPlain : kNumbered)) == 0) continue;
        if (name > kBackupName && (*sightings)[kBackupName] == update.oldFile) break;
        if (!look(destination_, error, BackupOf(update.destination, name).Get(), name)) return false;
    }
    return true;
}

bool Mending::Look() {
    lines_.reserve(set_.updates.size());
    for (const Update& update : set_.updates) {
        LineSightings sightings;
        if (!LookAtLine(update, &sightings)) return false;
        const Whereabouts where = IdentifyFiles(update, sightings);
        const LinePlan plan = PlanLine(where);
        lines_.push_back({where, plan});
        back_ |= plan.back;
        forward_ |= plan.forward;
        if (plan.forward != kReplaced) isNewSomewhere_ = true;
    }
    return true;
}

Version Mending::Reachable() const {
    if ((back_ & kImpossible) == 0) return Version::Old;
    if ((forward_ & kImpossible) != 0) return Version::Neither;
    const bool isReplaced = (forward_ & kReplaced) != 0;
    return !isReplaced || (forward_ == kReplaced && isNewSomewhere_) ? Version::New : Version::Neither;
}

bool Mending::IsSettled() const {
    const Version version = Reachable();
    return version == Version::Old ? back_ == kNothing
                                   : version == Version::New && (forward_ & ~unsigned{kReplaced}) == kNothing;
}

void Mending::Show() const {
    static constexpr const char* kWords[] = {"nothing",      "the old file",
                                             "the new file", "the old and new file",
                                             "another file", "a file that can't be told for certain"};
    for (size_t i = 0; i < lines_.size(); ++i) {
        const Update& update = set_.updates[i];
        const Whereabouts& where = lines_[i].where;
        std::cout << "destination " << Quoted{update.destination} << ": " << kWords[static_cast<int>(where.destination)]
                  << ", source " << Quoted{update.source} << ": " << kWords[static_cast<int>(where.source)];
        if (where.backup != 0) {
            std::cout << ", backup " << Quoted{NameOf(update, where.backup).c_str()} << ": the old file";
        }
        std::cout << '\n';
    }
}

bool Mending::Act(const Update& update, Step step, int8_t backup, bool act) {
    const auto name = [&](int of) { return NameOf(update, of); };
    const bool isRename = step == kReturnNew || step == kRestoreOld;
    int from = backup, to = kDestinationName;
    if (step == kReturnNew) {
        from = kDestinationName;
        to = kSourceName;
    }
    if (step == kRemoveSource) from = kSourceName;
    std::cout << (isRename ? "renaming " : "removing ") << Quoted{name(from).c_str()};
    if (isRename) std::cout << " as " << Quoted{name(to).c_str()};
    std::cout << '\n';
    if (!act) return true;
    const BackupOf backupName(update.destination, backup);
    const auto place = [&](int of) {
        return of == kSourceName        ? std::pair(source_.Get(), FileNameOf(update.source))
               : of == kDestinationName ? std::pair(destination_.Get(), FileNameOf(update.destination))
                                        : std::pair(destination_.Get(), backupName.Get());
    };
    const auto [fromFolder, fromName] = place(from);
    const auto [toFolder, toName] = place(to);
    const int result = isRename ? renameat(fromFolder, fromName, toFolder, toName) : unlinkat(fromFolder, fromName, 0);
    return result == 0 || RefuseFile(isRename ? "rename" : "remove", name(from).c_str(), errno);
}

bool Mending::Work(bool act) {
    for (size_t i = 0; i < lines_.size(); ++i) {
        const uint8_t steps = Steps(lines_[i]);
        if ((steps & ~unsigned{kReplaced}) == kNothing) continue;
        const Update& update = set_.updates[i];
        if (act) {
            destination_.Enter(update.destination);
            int error = source_.Enter(update.source);
            if (error != 0 && (steps & kReturnNew) != 0) {
                error = FolderMakeFor(update.source, "");
                if (error == 0) error = source_.Enter(update.source);
                if (error != 0) return RefuseFile("make the folder of", update.source, error);
            }
        }
        for (const Step step : {kReturnNew, kRestoreOld, kRemoveBackup, kRemoveSource}) {
            if ((steps & step) != 0 && !Act(update, step, lines_[i].where.backup, act)) return false;
        }
    }
    return true;
}

bool Mending::Flush() const {
    for (const auto& [device, path] : fileSystems_) {
        if (const int error = FolderFlushFileSystem(path)) return RefuseFile("flush", path.c_str(), error);
    }
    return true;
}

bool RecordIsSettled(const std::string& record) {
    UpdateSet set;
    switch (RecordReadFile(record, &set)) {
        case RecordRead::Missing:
            return true;
        case RecordRead::Bad:
            return false;
        case RecordRead::Whole:
            break;
    }
    Mending mending(set);
    if (!mending.Look()) return false;
    return mending.IsSettled() ||
           Refuse(Quoted{record.c_str()}, " is the record of an update that isn't settled: mend it first");
}
