// What lies beside the destinations of an update list, read from their directories: one reading in place of twelve
// system calls a line. Main thread.
#pragma once
#include <sys/types.h>

#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

/// A directory of at most 64 KiB with ASCII names alone is read when its first line arrives, and what the run creates
/// there is added. From the first relative or unreadable path, or move of a destination that is no regular file, on
/// nothing is known any more: a path may lead elsewhere. A leftover that another program makes later is not seen.
class Leftovers {
public:
    /// True: the destination is a regular file or missing, and no leftover of it exists. Not for names that are cut.
    bool NoneBeside(const char* destination);

    /// The destination is about to be renamed to its backup name; asked says that NoneBeside was not true for it.
    void Moves(const char* destination, const char* backup, bool asked);

private:
    struct Directory {
        void Add(const char* name);
        bool isKnown = false;
        std::unordered_set<std::string> doubtful;  // destinations to ask about, in lower case
    };
    Directory* Find(const char* file);

    std::map<std::pair<dev_t, ino_t>, Directory> directories_;
    std::unordered_map<std::string, Directory*> paths_;  // where each spelling leads
    bool knowsNothing_ = false;
};
