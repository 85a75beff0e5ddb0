#include "list/plan.h"

#include <algorithm>

namespace {
// A set of Holds.
constexpr unsigned Any(auto... holds) { return ((1U << static_cast<unsigned>(holds)) | ...); }

constexpr unsigned kNone = Any(Holds::Nothing), kOld = Any(Holds::Old), kNew = Any(Holds::New);
constexpr unsigned kBoth = Any(Holds::Both), kOther = Any(Holds::Other), kAnything = ~0U;

struct Row {
    unsigned destination, source;
    bool hasBackup;
    uint8_t back, forward;  // steps to the old and to the new version
};

// Some file systems show one file under both names of a rename after a power cut. A rename of the one to the other does
// nothing then, so one of them is deleted. A destination that neither version knows, with the old file as its backup,
// is a new one that was edited during the run.
constexpr Row kRows[] = {
    // destination, source, old file under a backup name, to the old version, to the new version
    {kOld, kAnything, false, 0, kImpossible},
    {kOld, kAnything, true, kRemoveBackup, kImpossible},
    {kNone, kAnything, true, kRestoreOld, kImpossible},  // a source that is missing was never brought
    {kNew, kNone, true, kReturnNew | kRestoreOld, kRemoveBackup},
    {kNew, kNew, true, kRestoreOld, kRemoveBackup | kRemoveSource},
    {kNew, kOther, true, kImpossible, kRemoveBackup},  // the source may be the next update's
    {kNew, kNone | kOther, false, kImpossible, 0},
    {kNew, kNew, false, kImpossible, kRemoveSource},
    {kOther, kNone, true, kReturnNew | kRestoreOld, kImpossible},
    {kBoth, kAnything, false, 0, 0},
    {kBoth, kNone, true, kReturnNew | kRestoreOld, kRemoveBackup},
    {kBoth, kAnything, true, kRemoveBackup, kRemoveBackup},
    {kAnything, kAnything, false, kImpossible, kImpossible},
    {kAnything, kAnything, true, kImpossible, kImpossible},
};

bool Is(Holds holds, unsigned set) { return (Any(holds) & set) != 0; }

const Row& RowOf(const LineState& state) {
    static constexpr Row kEdited{kOther, kNew, false, 0, kImpossible};  // before its run: nothing has moved
    const bool isAlone = state.backup == 0 && !state.isOtherBackup;
    if (isAlone && state.destination == Holds::Other && state.source == Holds::New) return kEdited;
    return *std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& row) {
        return Is(state.destination, row.destination) && Is(state.source, row.source) &&
               row.hasBackup == (state.backup != 0);
    });
}
}  // namespace

LineState IdentifyFiles(const Update& update, const LineFiles& files) {
    const auto holds = [&](const std::optional<FileInfo>& file) {
        if (!file) return Holds::Nothing;
        const auto is = [&](const FileIdentity& other) {
            return other == Identity(*file, other.size == FileIdentity::kBorn);
        };
        const bool isOld = is(update.oldFile), isNew = is(update.newFile);
        if (isOld && isNew) return Holds::Both;
        return isOld ? Holds::Old : isNew ? Holds::New : Holds::Other;
    };
    LineState state{.source = holds(files[kSourceName]), .destination = holds(files[kDestinationName])};
    for (size_t name = kBackupName; name < files.size(); ++name) {
        const Holds backup = holds(files[name]);
        const bool isOld = Is(backup, kOld | kBoth);
        if (isOld && state.backup == 0) state.backup = static_cast<uint8_t>(name);
        state.isOtherBackup |= !isOld && backup != Holds::Nothing;
    }
    return state;
}

Outcome Decide(const std::vector<LineState>& lines) {
    unsigned back = 0, forward = 0, destinations = 0;
    bool isNotBegun = true, isOver = true;
    for (const LineState& line : lines) {
        const Row& plan = RowOf(line);
        back |= plan.back;
        forward |= plan.forward;
        destinations |= Any(line.destination);
        isNotBegun &= plan.back == 0 && Is(line.source, kNew | kBoth);
        isOver &= line.source == Holds::Nothing && line.backup == 0 && !line.isOtherBackup;
    }
    if (isNotBegun) return Outcome::NotBegun;
    if ((back & kImpossible) == 0) return Outcome::Old;
    if ((forward & kImpossible) == 0) return Outcome::New;
    // Nothing is left to do, whatever was put in the place of files: those that are known are of one version.
    const bool hasOld = (destinations & kOld) != 0, hasNew = (destinations & (kNew | kBoth)) != 0;
    if (!isOver || (destinations & kNone) != 0 || (hasOld && hasNew)) return Outcome::Unsettled;
    return hasOld ? Outcome::Old : hasNew ? Outcome::New : Outcome::Unknown;
}

uint8_t StepsFor(Outcome outcome, const LineState& state) {
    const Row& plan = RowOf(state);
    return kSteps & (outcome == Outcome::Old ? plan.back : outcome == Outcome::New ? plan.forward : 0);
}
