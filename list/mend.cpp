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

// The last names of a destination and its backups.
class LastName {
public:
    explicit LastName(const char* destination) : text_(FileNameOf(destination)), stem_(text_.size()) {}

    // Until it is asked again.
    const char* Of(size_t name) {
        text_.resize(stem_);
        if (name >= kBackupName) text_ += kUpdateBackupSuffix;
        if (name > kBackupName) text_ += std::to_string(name - kBackupName);
        return text_.c_str();
    }

private:
    std::string text_;
    const size_t stem_;
};

std::string NameOf(const Update& update, size_t name) {
    if (name == kSourceName) return update.source;
    const std::string_view path = update.destination;
    return std::string(path.substr(0, path.rfind('/') + 1)) + LastName(update.destination).Of(name);
}

}  // namespace

// Nothing lies in a folder that isn't there.
bool Mending::Enter(const char* path, Place* place) {
    const int error = place->open.Enter(path);
    const auto& folder = place->open.Path();
    if (error != 0 && error != ENOENT && error != ENOTDIR) return RefuseFile("open", folder.c_str(), error);
    if (place->names != nullptr && !place->open.Changed()) return true;
    place->names = &namesIn_.try_emplace(folder, folder).first->second;
    FileSeen seen;
    if (error == 0 && FileLook(place->open.Get(), ".", &seen) == 0) fileSystems_.try_emplace(seen.device, folder);
    return true;
}

bool Mending::LookAtLine(const Update& update, LineSightings* sightings) {
    if (!Enter(update.source, &source_) || !Enter(update.destination, &destination_)) return false;
    const auto look = [&](const Place& place, const char* name, size_t at) {
        FileSeen seen;
        if (!place.names->MayHold(name)) return true;
        const int error = FileLook(place.open.Get(), name, &seen);
        if (error == 0) (*sightings)[at] = seen.identity;
        return error == 0 || error == ENOENT || RefuseFile("look at", NameOf(update, at).c_str(), error);
    };
    if (!look(source_, FileNameOf(update.source), kSourceName)) return false;
    LastName last(update.destination);
    for (size_t name = kDestinationName; name < kLineNames; ++name) {
        if (!look(destination_, last.Of(name), name)) return false;
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
            std::cout << ", backup " << Quoted{NameOf(update, static_cast<size_t>(where.backup)).c_str()}
                      << ": the old file";
        }
        std::cout << '\n';
    }
}

bool Mending::Act(const Update& update, Step step, int8_t backup, bool act) {
    const auto name = [&](size_t of) { return NameOf(update, of); };
    const bool isRename = step == kReturnNew || step == kRestoreOld;
    auto from = static_cast<size_t>(backup), to = size_t{kDestinationName};
    if (step == kReturnNew) {
        from = kDestinationName;
        to = kSourceName;
    }
    if (step == kRemoveSource) from = kSourceName;
    std::cout << (isRename ? "renaming " : "removing ") << Quoted{name(from).c_str()};
    if (isRename) std::cout << " as " << Quoted{name(to).c_str()};
    std::cout << '\n';
    if (!act) return true;
    LastName last[] = {LastName(update.destination), LastName(update.destination)};
    const auto folder = [&](size_t of) { return of == kSourceName ? source_.open.Get() : destination_.open.Get(); };
    const auto text = [&](size_t of, LastName& here) {
        return of == kSourceName ? FileNameOf(update.source) : here.Of(of);
    };
    const int result = isRename ? renameat(folder(from), text(from, last[0]), folder(to), text(to, last[1]))
                                : unlinkat(folder(from), text(from, last[0]), 0);
    return result == 0 || RefuseFile(isRename ? "rename" : "remove", name(from).c_str(), errno);
}

bool Mending::Work(bool act) {
    for (size_t i = 0; i < lines_.size(); ++i) {
        const uint8_t steps = Steps(lines_[i]);
        if ((steps & ~unsigned{kReplaced}) == kNothing) continue;
        const Update& update = set_.updates[i];
        if (act) {
            destination_.open.Enter(update.destination);
            int error = source_.open.Enter(update.source);
            if (error != 0 && (steps & kReturnNew) != 0) {
                error = FolderMakeFor(update.source, "");
                if (error == 0) error = source_.open.Enter(update.source);
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
