// The recovery of an update: where its files are, which version that can become, and the way there.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <unordered_set>

#include "list/commands.h"
#include "list/plan.h"

namespace {
// What the steps do, in their order. One without a new name deletes.
struct {
    Step step;
    size_t from, to;
} constexpr kActions[] = {{kReturnNew, kDestinationName, kSourceName},
                          {kRestoreOld, kBackupName, kDestinationName},
                          {kRemoveBackup, kBackupName, kLineNames},
                          {kRemoveSource, kSourceName, kLineNames}};

std::string PathOf(const Update& update, size_t name) {
    if (name == kSourceName) return update.source;
    if (name == kDestinationName) return update.destination;
    return update.destination + kUpdateBackupSuffix + (name > kBackupName ? std::to_string(name - kBackupName) : "");
}
constexpr Role RoleOf(size_t name) { return name == kSourceName ? kSource : kDestination; }

// A function that fails prints that and gives false.
class Recovery {
public:
    Recovery(const UpdateSet& set, const Record& record) : set_(set), record_(record) {}
    Outcome Decision() const { return decision_; }
    bool IsSettled() const {
        const auto isDone = [&](const LineState& line) { return StepsFor(decision_, line) == 0; };
        return decision_ != Outcome::Unsettled && std::all_of(lines_.begin(), lines_.end(), isDone);
    }

    bool Locate() {
        if (!std::all_of(set_.begin(), set_.end(), [&](auto& update) { return LocateLine(update); })) return false;
        decision_ = Decide(lines_);
        return true;
    }

    void PrintState() const {
        static constexpr const char* kWords[] = {"nothing", "the old file", "the new file", "the old and new file",
                                                 "another file"};
        PrintError(Quote(record_.Path()), " cannot be settled: its files cannot be told to be all old or all new");
        for (size_t i = 0; i < lines_.size(); ++i) {
            const auto& [source, destination, backup, isOtherBackup] = lines_[i];
            std::cout << "destination " << Quote(set_[i].destination) << ": " << kWords[static_cast<int>(destination)]
                      << ", source " << Quote(set_[i].source) << ": " << kWords[static_cast<int>(source)];
            if (backup != 0) std::cout << ", backup " << Quote(PathOf(set_[i], backup)) << ": the old file";
            std::cout << (isOtherBackup ? ", a backup name: another file\n" : "\n");
        }
    }

    // Does what is to be done and prints it; without act, prints alone.
    bool Work(bool act) {
        for (size_t i = 0; i < lines_.size(); ++i) {
            const Update& update = set_[i];
            const uint8_t steps = StepsFor(decision_, lines_[i]);
            if (steps != 0 && act && !Enter(update, (steps & kReturnNew) != 0)) return false;
            for (const auto& [step, from, to] : kActions) {
                if ((steps & step) == 0) continue;
                const bool isRename = to != kLineNames;
                const auto path = PathOf(update, from == kBackupName ? lines_[i].backup : from);
                const auto& target = update.Path(RoleOf(to));
                std::cout << (isRename ? "renaming " : "removing ") << Quote(path)
                          << (isRename ? " as " + Quote(target) : "") << '\n';
                if (!act) continue;
                const int at = directories_.At(RoleOf(from)).Get(), onto = directories_.At(RoleOf(to)).Get();
                const int result =
                    isRename ? renameat(at, LastName(path), onto, LastName(target)) : unlinkat(at, LastName(path), 0);
                if (result != 0) return PrintFileError(isRename ? "rename" : "remove", path, errno);
            }
        }
        return !act || directories_.FlushFileSystems();
    }

    // Deletes the record, and a list of the new version, whose sources are gone.
    bool Settle(bool act) const {
        const auto& path = record_.Path();
        const auto list = path.substr(0, path.rfind(kUpdateRecordSuffix));
        const bool isNamedAfter = path == list + kUpdateRecordSuffix;
        if (decision_ == Outcome::New && isNamedAfter && IsListOfRecord(list)) {
            std::cout << "removing " << Quote(list) << '\n';
            const int result = act ? unlinkat(record_.In().Get(), LastName(list), 0) : 0;
            if (result != 0) return PrintFileError("remove", list, errno);
        }
        std::cout << "removing " << Quote(path) << '\n';
        return !act || record_.Remove();
    }

private:
    // Opens the directories of a line. Nothing is in one that does not exist.
    bool Enter(const Update& update, bool createsSource) {
        for (const Role role : {kSource, kDestination}) {
            const int error = directories_.Enter(role, update.Path(role), role == kSource && createsSource);
            if (error != 0 && error != ENOENT && error != ENOTDIR) return PrintError(directories_.At(role).Failure());
        }
        return true;
    }

    bool LocateLine(const Update& update) {
        if (!Enter(update, false)) return false;
        for (const Role role : {kSource, kDestination}) {
            const Directory& directory = directories_.At(role);
            const auto& path = update.Path(role);
            if (directory.Get() == -1 || keys_.insert(directory.Key() + LastName(path)).second) continue;
            return PrintError(Quote(record_.Path()), " has ", Quote(path), " twice, if under different paths");
        }
        LineFiles files;
        for (size_t name = 0; name < files.size(); ++name) {
            // A run takes a numbered name only when it cannot have the one without a number.
            const LineState state = name > kBackupName ? IdentifyFiles(update, files) : LineState{};
            if (state.backup != 0 || state.destination == Holds::Old) break;
            const Directory& directory = directories_.At(RoleOf(name));
            if (directory.Get() == -1) continue;
            const auto path = PathOf(update, name);
            FileInfo info;
            const int error = StatAt(directory.Get(), LastName(path), &info);
            if (error != 0 && error != ENOENT) return PrintFileError("read the status of", path, error);
            if (error == 0 && (name < kBackupName || !S_ISDIR(info.stx_mode))) files[name] = info;
        }
        lines_.push_back(IdentifyFiles(update, files));
        return true;
    }

    // Whether a list exists that is the one of the record; another may have been written meanwhile.
    bool IsListOfRecord(const std::string& list) const {
        UpdateSet set;
        Diagnostics ignored(list);
        FileInfo info;
        return StatAt(record_.In().Get(), LastName(list), &info) == 0 && ListRead(record_.In(), list, &set, &ignored) &&
               std::equal(set.begin(), set.end(), set_.begin(), set_.end(), [](const Update& a, const Update& b) {
                   return a.source == b.source && a.destination == b.destination;
               });
    }

    const UpdateSet& set_;
    const Record& record_;
    std::vector<LineState> lines_;
    Outcome decision_ = Outcome::Unsettled;
    Directories directories_;
    std::unordered_set<std::string> keys_;
};

// Prints the last line of the standard output.
Status Conclude(const char* words, bool act) {
    const bool isGood = (std::cout << words << std::endl).good() || act;
    return isGood || PrintError("cannot write to the standard output") ? kDone : kRefused;
}
}  // namespace

bool ReserveRecord(Record* record) {
    const auto state = record->Open();
    if (state != Record::State::Locked) return state == Record::State::Missing;
    UpdateSet set;
    Recovery recovery(set, *record);
    if (!record->Read(&set) || !recovery.Locate()) return false;
    return recovery.IsSettled() ||
           PrintError(Quote(record->Path()), " is the record of an update that is not settled: recover it first");
}

Status RecoverCommand(const Arguments& arguments) {
    const bool act = !arguments.flag;
    Record record(arguments.operands[0]);
    const auto state = record.Open();
    if (state == Record::State::Missing) {
        // Whoever deleted it may have been stopped before that was on the disk.
        return record.In().Flush(fsync) ? Conclude("nothing to recover", act) : kRefused;
    }
    if (state != Record::State::Locked) return state == Record::State::Held ? kHeld : kRefused;
    UpdateSet set;
    Recovery recovery(set, record);
    if (!record.Read(&set) || !recovery.Locate()) return kRefused;
    const Outcome outcome = recovery.Decision();
    if (outcome == Outcome::Unsettled) return recovery.PrintState(), kRefused;
    if (outcome != Outcome::NotBegun && (!recovery.Work(act) || !recovery.Settle(act))) return kRefused;
    constexpr const char* kLastLines[] = {"old version", "old version", "new version", "nothing to recover"};
    return Conclude(kLastLines[static_cast<int>(outcome)], act);
}
