// Finds leftovers beside the destinations of an update list by reading the directories. One reading replaces twelve
// system calls a line. Main thread.
#pragma once
#include <sys/types.h>

#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

/// A directory of at most 64 KiB, or of the size of the list, is read at its first line, and is used while all its
/// names are ASCII. Names that the run creates are added. A relative path, a directory that cannot be opened or the
/// move of a destination that is not a regular file disables the object: paths may then lead elsewhere. Leftovers that
/// others create later are missed.
class Leftovers {
public:
    explicit Leftovers(off_t listSize) : largest_(listSize) {}
    /// True: the destination is a regular file or missing, and has no leftover. Not for names that are cut.
    bool NoneBeside(const char* destination);
    /// Records the coming rename of destination to its backup name; lookedUp: NoneBeside was not true for it.
    void Moves(const char* destination, const char* backup, bool lookedUp);

private:
    struct Directory {
        void Add(const char* name);
        bool isUsable = false;
        std::unordered_set<std::string> candidates;  // destinations that need look-ups, in lower case
    };
    Directory* Find(const char* file);

    std::map<std::pair<dev_t, ino_t>, Directory> directories_;
    std::unordered_map<std::string, Directory*> paths_;  // by spelling
    const off_t largest_;
    bool disabled_ = false;
};
