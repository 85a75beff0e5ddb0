// The command that makes a list and its record.
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "list/commands.h"
#include "list/folder.h"
#include "list/inspect.h"
#include "list/message.h"
#include "list/publish.h"
#include "list/record.h"
#include "list/tree.h"

namespace {

// A folder as it stands in front of the names below it: as it was given, when that is absolute, with one slash behind.
bool TakePrefix(const char* folder, std::string* prefix) {
    const int descriptor = open(folder, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (descriptor == -1) return RefuseFile("open folder", folder, errno);
    close(descriptor);
    *prefix = folder;
    if (*folder != '/') {
        const std::unique_ptr<char, void (*)(void*)> path(realpath(folder, nullptr), free);
        if (path == nullptr) return RefuseFile("open folder", folder, errno);
        *prefix = path.get();
    }
    prefix->resize(prefix->find_last_not_of('/') + 1);
    *prefix += "/";
    return true;
}

bool IsApart(const std::string& folder, const std::string& from, const char* words) {
    const int within = FolderIsWithin(folder.c_str(), from.c_str());
    if (within == -1) return RefuseFile("look at", folder.c_str(), errno);
    return within == 0 || Refuse(Quoted{folder.c_str()}, words, Quoted{from.c_str()});
}

bool Print(const std::vector<Update>& added, size_t prefix) {
    for (const Update& update : added) std::cout << update.source + prefix << '\n';
    return std::cout.flush().good() || Refuse("can't write to the standard output");
}

// Puts the files into their places that no list can name, since there is nothing that they replace.
bool Add(const std::vector<Update>& added, const std::string& root) {
    for (const Update& update : added) {
        if (const int error = FolderMakeFor(update.destination, update.source)) {
            return RefuseFile("make the folder of", update.destination, error);
        }
        const auto exists = [&] { return access(update.destination, F_OK) == 0 ? EEXIST : 0; };
        if (const int error = exists()) return RefuseFile("write", update.destination, error);
        if (rename(update.source, update.destination) != 0) return RefuseFile("rename", update.source, errno);
    }
    if (added.empty()) return true;
    const int error = FolderFlushFileSystem(root);
    return error == 0 || RefuseFile("flush", root.c_str(), error);
}

bool Write(const std::string& list, const UpdateSet& set) {
    if (!RecordWrite(list + kRecordSuffix, set)) return false;
    if (RecordWriteList(list, set)) return true;
    unlink((list + kRecordSuffix).c_str());
    return false;
}

bool Make(const Arguments& arguments) {
    std::string fresh, root;
    if (!TakePrefix(arguments.operands[0], &fresh) || !TakePrefix(arguments.operands[1], &root)) return false;
    const std::string list = arguments.list != nullptr ? arguments.list : root + "update.list";
    const std::string listFolder = list.substr(0, list.rfind('/') + 1);
    if (!IsApart(root, fresh, " is or lies below ") ||
        !IsApart(listFolder.empty() ? "." : listFolder, fresh, ", the folder of the list, is or lies below ")) {
        return false;
    }
    if (!ListIsFree(list)) return false;

    UpdateSet set;
    const auto take = [&](const std::string& name) {
        set.updates.push_back({.source = set.names.Add(fresh, name),
                               .destination = set.names.Add(root, name),
                               .oldFile = {},
                               .newFile = {},
                               .line = static_cast<int>(set.updates.size()) + 1});
    };
    if (!TreeWalk(fresh, take) || !ListCanHold(set)) return false;
    Findings findings(list);
    const auto inspection = InspectFiles(list, arguments.add ? Absent::Added : Absent::Left, &set, &findings);
    findings.Print();
    if (findings.HasErrors() || !Print(inspection.added, fresh.size())) return false;
    if (!FlushSources(inspection) || !Write(list, set)) return false;
    if (!arguments.add || Add(inspection.added, root)) return true;
    unlink(list.c_str());
    unlink((list + kRecordSuffix).c_str());
    return false;
}

}  // namespace

Status MakeCommand(const Arguments& arguments) { return Make(arguments) ? kDone : kRefused; }
