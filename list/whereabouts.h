// Where the two files of a line of the list lie, and what brings the line to the old or to the new version. Pure: it
// looks at what it is given, and touches nothing.
//
// A line has the source, the destination, and the backup names of the destination. A run renames the old file from the
// destination to a backup name and the new one from the source to the destination, or back, or deletes the old file
// under its backup name at the end; it may have been stopped between any two of these, and so may a mending.
#pragma once
#include <array>
#include <cstdint>
#include <optional>

#include "list/update_set.h"

/// The names of a line, as indices. Behind kBackupName stand the numbered variants, 1 to kUpdateTriedVariants.
enum LineName { kSourceName, kDestinationName, kBackupName };
constexpr int kLineNames = kBackupName + 1 + kUpdateTriedVariants;

/// Which file lies under each name of a line; nothing where there is none.
using LineSightings = std::array<std::optional<FileIdentity>, kLineNames>;

/// What a name holds.
enum class Holds : uint8_t {
    Nothing,
    Old,
    New,
    Both,    ///< old and new are one file, under two names from the beginning
    Other,   ///< neither of the two
    Unsure,  ///< perhaps one of the two: more than one name fits, or the two look the same
};

struct Whereabouts {
    Holds source, destination;
    int8_t backup;  ///< the name that holds the old file, kBackupName or behind it; 0 when none does
};

/// Tells the files of a line apart. A rename keeps inode, size and time, so a file for which all three fit is the one.
/// Without such a file, for a file system whose inodes don't outlive a restart, one whose size and time alone fit, when
/// no other name of the line has such a file; without that, one whose inode alone fits: it was written to since. The
/// last isn't enough for an old file in its place when the new one was moved.
Whereabouts IdentifyFiles(const Update& update, const LineSightings& sightings);

/// What may be done for a line, in this order. None overwrites or deletes a file that isn't there under another name,
/// but for RemoveBackup when the line is brought to the new version.
enum Step : uint8_t {
    kNothing = 0,
    kReturnNew = 1,     ///< rename the destination to the source
    kRestoreOld = 2,    ///< rename the backup name to the destination
    kRemoveBackup = 4,  ///< delete the backup name
    kRemoveSource = 8,  ///< delete the source
    kReplaced = 64,  ///< nothing, and only where nothing has to be done for any line: another file has taken the place
    kImpossible = 128,  ///< nothing brings the line to that version
};

/// A step that does something: a rename, or the deletion of the first name. kBackupName stands for the backup name that
/// holds the old file.
struct StepNames {
    Step step;
    bool isRename;
    LineName from, to;
};

struct LinePlan {
    uint8_t back;     ///< steps to the old version
    uint8_t forward;  ///< steps to the new version
};

LinePlan PlanLine(const Whereabouts& where);
