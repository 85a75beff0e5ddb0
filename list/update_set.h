// The files of an update: the lines of its list, and which file each name stood for when the list was made.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "list/arena.h"
#include "post/update_line.h"

/// Which file it is, under whatever name: a rename changes nothing of this. The device is left out, its number doesn't
/// outlive a restart.
struct FileIdentity {
    uint64_t inode = 0;
    int64_t size = 0;     ///< bytes; of a symbolic link itself, like the time
    int64_t seconds = 0;  ///< the time of its last change, rounded down, since 1970
    uint32_t nanoseconds = 0;

    bool operator==(const FileIdentity&) const = default;
};

/// A line of the list. The texts belong to the set.
struct Update {
    const char* source;
    const char* destination;
    FileIdentity oldFile, newFile;
    int line;  ///< from 1 on
};

struct UpdateSet {
    Arena names;
    std::vector<Update> updates;
};

/// A line that a list can't have, and why.
using ReportLineFault = void (*)(void* context, int line, const UpdateLineFault& fault);

/// Reads a list as qvpost does. report, which may be null, is told of every line that qvpost would not take; the set
/// gets the others. Returns 0, or errno of the read.
int UpdateSetRead(FILE* list, UpdateSet* set, ReportLineFault report, void* context);

/// Gives every name that isn't absolute the working directory in front. Returns 0, or errno of getcwd(3).
int UpdateSetMakeAbsolute(UpdateSet* set);

/// Whether a line of a list can hold the names of an update: neither has a newline or a byte that stands for another
/// one, and both are short enough.
bool UpdateSetCanHold(const Update& update);

/// Whether a destination is so long that a backup name of it, or a numbered one, would be cut.
bool UpdateSetBackupIsCut(const char* destination);
