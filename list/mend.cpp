#include "list/mend.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string_view>
#include <utility>

#include "list/message.h"
#include "list/record.h"

namespace {

// What the steps do, in their order.
constexpr StepNames kSteps[] = {{.step = kReturnNew, .isRename = true, .from = kDestinationName, .to = kSourceName},
                                {.step = kRestoreOld, .isRename = true, .from = kBackupName, .to = kDestinationName},
                                {.step = kRemoveBackup, .isRename = false, .from = kBackupName, .to = kBackupName},
                                {.step = kRemoveSource, .isRename = false, .from = kSourceName, .to = kSourceName}};

}  // namespace

void Mending::Names::Set(const Update& update) {
    source_ = update.source;
    const char* const last = FileNameOf(update.destination);
    destination_ = update.destination;
    destination_.resize(destination_.rfind('/') + 1);
    folder_ = destination_.size();
    destination_ += last;
    size_ = destination_.size();
}

const char* Mending::Names::Destination(size_t name) {
    destination_.resize(size_);
    if (name >= kBackupName) destination_ += kUpdateBackupSuffix;
    if (name > kBackupName) destination_ += std::to_string(name - kBackupName);
    return destination_.c_str();
}

// Nothing lies in a folder that isn't there.
bool Mending::Enter(const char* path, Place* place) {
    const int error = place->open.Enter(path);
    const auto& folder = place->open.Path();
    if (error != 0 && error != ENOENT && error != ENOTDIR) return RefuseFile("open", folder.c_str(), error);
    if (!place->open.Changed()) return true;
    place->names = nullptr;
    FileSeen seen;
    if (error == 0 && FileLook(place->open.Get(), ".", &seen) == 0) fileSystems_.try_emplace(seen.device, folder);
    return true;
}

// Reading a folder costs as much as looking for a few names in it, so it is done when one is asked for that is seldom
// there.
bool Mending::MayHold(Place* place, const char* name) {
    if (place->names == nullptr) {
        place->names = &namesIn_.try_emplace(place->open.Path(), place->open.Path()).first->second;
    }
    return place->names->MayHold(name);
}

bool Mending::LookAtLine(const Update& update, LineSightings* sightings) {
    if (!Enter(update.source, &source_) || !Enter(update.destination, &destination_)) return false;
    names_.Set(update);
    const auto look = [&](const Place& place, const char* name, size_t at) {
        FileSeen seen;
        const int error = place.open.Get() == -1 ? ENOENT : FileLook(place.open.Get(), name, &seen);
        if (error == 0) (*sightings)[at] = seen.identity;
        return error == 0 || error == ENOENT || RefuseFile("look at", names_.Path(at), error);
    };
    const char* const source = names_.Last(kSourceName);
    if (MayHold(&source_, source) && !look(source_, source, kSourceName)) return false;
    for (size_t name = kDestinationName; name < kLineNames; ++name) {
        const char* const here = names_.Last(name);
        if (name > kBackupName && !MayHold(&destination_, here)) continue;
        if (!look(destination_, here, name)) return false;
        if (name == kBackupName &&
            ((*sightings)[kDestinationName] == update.oldFile || (*sightings)[kBackupName] == update.oldFile)) {
            break;  // a run takes a numbered name only when it can't have this one
        }
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

void Mending::Show() {
    static constexpr const char* kWords[] = {"nothing",      "the old file",
                                             "the new file", "the old and new file",
                                             "another file", "a file that can't be told for certain"};
    for (size_t i = 0; i < lines_.size(); ++i) {
        const Update& update = set_.updates[i];
        const Whereabouts& where = lines_[i].where;
        std::cout << "destination " << Quoted{update.destination} << ": " << kWords[static_cast<int>(where.destination)]
                  << ", source " << Quoted{update.source} << ": " << kWords[static_cast<int>(where.source)];
        if (where.backup != 0) {
            names_.Set(update);
            std::cout << ", backup " << Quoted{names_.Path(static_cast<size_t>(where.backup))} << ": the old file";
        }
        std::cout << '\n';
    }
}

// A step for the line that names_ is of; its old file is under the backup name that is given.
bool Mending::Act(const Update& update, const StepNames& step, size_t backup, bool act) {
    const size_t from = step.from == kBackupName ? backup : size_t{step.from};
    words_ = step.isRename ? "renaming " : "removing ";
    words_ += Quoted{names_.Path(from)};
    if (step.isRename) {
        words_ += " as ";
        words_ += Quoted{names_.Path(step.to)};
    }
    words_ += '\n';
    std::cout << words_;
    if (!act) return true;
    const auto folderOf = [&](size_t name) {
        return name == kSourceName ? source_.open.Get() : destination_.open.Get();
    };
    const char* const fromName = names_.Last(from);
    // No step goes to a backup name.
    const char* const toName = FileNameOf(step.to == kSourceName ? update.source : update.destination);
    const int result = step.isRename ? renameat(folderOf(from), fromName, folderOf(step.to), toName)
                                     : unlinkat(folderOf(from), fromName, 0);
    const int error = result == 0 ? 0 : errno;
    return error == 0 || RefuseFile(step.isRename ? "rename" : "remove", names_.Path(from), error);
}

// Goes to the folders of a line; that of the source may have gone meanwhile.
bool Mending::EnterBoth(const Update& update, bool needsSource) {
    int error = destination_.open.Enter(update.destination);
    if (error != 0) return RefuseFile("open the folder of", update.destination, error);
    error = source_.open.Enter(update.source);
    if (error == 0 || !needsSource) return true;
    error = FolderMakeFor(update.source, "");
    if (error == 0) error = source_.open.Enter(update.source);
    return error == 0 || RefuseFile("make the folder of", update.source, error);
}

bool Mending::Work(bool act) {
    for (size_t i = 0; i < lines_.size(); ++i) {
        const uint8_t steps = Steps(lines_[i]);
        if ((steps & ~unsigned{kReplaced}) == kNothing) continue;
        const Update& update = set_.updates[i];
        names_.Set(update);
        if (act && !EnterBoth(update, (steps & kReturnNew) != 0)) return false;
        for (const StepNames& step : kSteps) {
            const auto backup = static_cast<size_t>(lines_[i].where.backup);
            if ((steps & step.step) != 0 && !Act(update, step, backup, act)) return false;
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
