// Where the two files of a line of the list are, and what brings an update to one version. Pure: nothing is touched. A
// run, or a recovery, may have been stopped between any two of its renames and deletions.
#pragma once
#include <array>
#include <cstdint>
#include <optional>

#include "list/record.h"

/// The names of a line, as indices. Behind kBackupName are the numbered variants, 1 to kUpdateTriedVariants.
enum LineName { kSourceName, kDestinationName, kBackupName, kLineNames = kBackupName + 1 + kUpdateTriedVariants };

/// Which file has each name of a line, if any. A directory under a backup name is left out.
using LineFiles = std::array<std::optional<FileInfo>, kLineNames>;

/// What a name holds. Both: old and new are one file, under two names from the beginning.
enum class Holds : uint8_t { Nothing, Old, New, Both, Other };

struct LineState {
    Holds source = Holds::Nothing, destination = Holds::Nothing;
    uint8_t backup = 0;          ///< the name that holds the old file, kBackupName or behind it; 0 when none does
    bool isOtherBackup = false;  ///< a backup name holds another file
};
LineState IdentifyFiles(const Update& update, const LineFiles& files);

/// What is done for a line, in this order. None overwrites a file, and none deletes one that is not there under another
/// name, except RemoveBackup on the way to the new version.
enum Step : uint8_t {
    kReturnNew = 1,     ///< rename the destination to the source
    kRestoreOld = 2,    ///< rename the backup name to the destination
    kRemoveBackup = 4,  ///< delete the backup name
    kRemoveSource = 8,  ///< delete the source
    kSteps = 15,
    kImpossible = 128,  ///< nothing brings the line to that version
};

/// What becomes of an update. Unknown: nothing is left to do, and its files were all replaced since.
enum class Outcome { NotBegun, Old, New, Unknown, Unsettled };
Outcome Decide(const std::vector<LineState>& lines);

/// The steps for a line when this becomes of the update.
uint8_t StepsFor(Outcome outcome, const LineState& state);
