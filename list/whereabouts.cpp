#include "list/whereabouts.h"

#include <bit>

namespace {

using Names = uint16_t;  // a set of names of a line
static_assert(kLineNames <= 16);

constexpr Names kSourceSet = 1 << kSourceName;
constexpr Names kDestinationSet = 1 << kDestinationName;
constexpr Names kAll = (1 << kLineNames) - 1;
constexpr Names kBackupSet = kAll & ~(kSourceSet | kDestinationSet);
constexpr Names kOldNames = kDestinationSet | kBackupSet;  // where a run puts the old file
constexpr Names kNewNames = kSourceSet | kDestinationSet;  // and the new one

bool IsSame(const FileIdentity& a, const FileIdentity& b) { return a == b; }
bool HasInode(const FileIdentity& a, const FileIdentity& b) { return a.inode == b.inode; }
bool HasSizeAndTime(const FileIdentity& a, const FileIdentity& b) {
    return a.size == b.size && a.seconds == b.seconds && a.nanoseconds == b.nanoseconds;
}

Names NamesThat(bool (*fits)(const FileIdentity&, const FileIdentity&), const FileIdentity& file,
                const LineSightings& sightings) {
    unsigned names = 0;
    for (unsigned name = 0; name < kLineNames; ++name) {
        if (sightings[name] && fits(file, *sightings[name])) names |= 1U << name;
    }
    return static_cast<Names>(names);
}

struct Role {
    const FileIdentity& file;
    Names possible;   // where it can be
    Names found = 0;  // where it is
};

// Gives each of the two that wasn't found yet the name that fits it, when it is the only one. Returns the names that
// fit without being sure.
Names FindAlone(bool (*fits)(const FileIdentity&, const FileIdentity&), const LineSightings& sightings, Role* old,
                Role* fresh) {
    const Names free = kAll & ~(old->found | fresh->found);
    const Names fitOld = old->found != 0 ? 0 : free & NamesThat(fits, old->file, sightings);
    const Names fitNew = fresh->found != 0 ? 0 : free & NamesThat(fits, fresh->file, sightings);
    Names unsure = fitOld & fitNew;
    const auto take = [&](Role* role, Names fit) {
        if (std::popcount(fit) == 1 && (fit & role->possible) != 0 && (fit & unsure) == 0) {
            role->found = fit;
        } else {
            unsure |= fit;
        }
    };
    take(old, fitOld);
    take(fresh, fitNew);
    return unsure;
}

}  // namespace

Whereabouts IdentifyFiles(const Update& update, const LineSightings& sightings) {
    Role old{.file = update.oldFile, .possible = kOldNames};
    Role fresh{.file = update.newFile, .possible = kNewNames};
    for (Role* role : {&old, &fresh}) role->found = role->possible & NamesThat(IsSame, role->file, sightings);
    const Names unsure = FindAlone(HasSizeAndTime, sightings, &old, &fresh);
    // The system gives the inode of a file that was deleted to the next one that is made, and a run that has succeeded
    // deletes old files: only beside a new file that wasn't moved a destination with the inode of the old one is it.
    if ((fresh.found & kSourceSet) == 0) old.possible = kBackupSet;
    if (unsure == 0) FindAlone(HasInode, sightings, &old, &fresh);

    const auto holds = [&](LineName name, const Role& first, Holds is, const Role& second, Holds isElse) {
        const Names set = static_cast<Names>(1U << name);
        if (!sightings[name]) return Holds::Nothing;
        if ((first.found & second.found & set) != 0) return Holds::Both;
        if ((first.found & set) != 0) return is;
        if ((second.found & set) != 0) return isElse;
        return (unsure & set) != 0 ? Holds::Unsure : Holds::Other;
    };
    const unsigned backups = old.found & kBackupSet;
    return {.source = holds(kSourceName, fresh, Holds::New, old, Holds::Old),
            .destination = holds(kDestinationName, old, Holds::Old, fresh, Holds::New),
            .backup = static_cast<int8_t>(backups == 0 ? 0 : std::countr_zero(backups))};
}

namespace {

// A set of Holds.
constexpr unsigned Any(auto... holds) { return ((1U << static_cast<unsigned>(holds)) | ...); }

constexpr unsigned kNone = Any(Holds::Nothing), kOld = Any(Holds::Old), kNew = Any(Holds::New);
constexpr unsigned kBoth = Any(Holds::Both);
constexpr unsigned kForeign = Any(Holds::Nothing, Holds::Other);
constexpr unsigned kAnything = ~0U;

struct Row {
    unsigned destination, source;
    bool backup;
    LinePlan plan;
};

// A file system may show one file under both names of a rename after a power cut; a rename of the one to the other then
// does nothing.
constexpr Row kRows[] = {
    // destination, source, old file under a backup name, to the old version, to the new version
    {kOld, kAnything, false, {kNothing, kImpossible}},
    {kOld, kAnything, true, {kRemoveBackup, kImpossible}},  // under both names
    {kNone, kAnything, true, {kRestoreOld, kImpossible}},   // a source that is missing was never brought
    {kNew, kNone, true, {kReturnNew | kRestoreOld, kRemoveBackup}},
    {kNew, kNew, true, {kRestoreOld, kRemoveBackup | kRemoveSource}},  // under both names
    {kNew, Any(Holds::Other), true, {kImpossible, kRemoveBackup}},     // the next update's new file, perhaps
    {kNew, kForeign, false, {kImpossible, kNothing}},
    {kNew, kNew, false, {kImpossible, kRemoveSource}},
    {kBoth, kAnything, false, {kNothing, kNothing}},
    {kBoth, kNone, true, {kReturnNew | kRestoreOld, kRemoveBackup}},
    {kBoth, kAnything, true, {kRemoveBackup, kRemoveBackup}},
    {Any(Holds::Other), kForeign, false, {kImpossible, kReplaced}},
};

}  // namespace

LinePlan PlanLine(const Whereabouts& where) {
    for (const Row& row : kRows) {
        if ((row.destination & Any(where.destination)) != 0 && (row.source & Any(where.source)) != 0 &&
            row.backup == (where.backup != 0)) {
            return row.plan;
        }
    }
    return {kImpossible, kImpossible};
}
