// The command that mends.
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "list/commands.h"
#include "list/folder.h"
#include "list/mend.h"
#include "list/message.h"
#include "list/record.h"
#include "list/running.h"

namespace {

// Whether a list is the one that a record is of; another one may have been written meanwhile.
bool IsListOf(const std::string& list, const UpdateSet& recorded) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(list.c_str(), "re"), fclose);
    UpdateSet set;
    if (file == nullptr || UpdateSetRead(file.get(), &set, nullptr, nullptr) != 0) return false;
    return UpdateSetMakeAbsolute(&set) == 0 &&
           std::equal(set.updates.begin(), set.updates.end(), recorded.updates.begin(), recorded.updates.end(),
                      [](const Update& a, const Update& b) {
                          return strcmp(a.source, b.source) == 0 && strcmp(a.destination, b.destination) == 0;
                      });
}

bool Remove(const std::string& path, bool act) {
    std::cout << "removing " << Quoted{path.c_str()} << '\n';
    return !act || unlink(path.c_str()) == 0 || RefuseFile("remove", path.c_str(), errno);
}

bool Mend(const std::string& record, bool act) {
    const auto list = RecordListOf(record);
    const int process = list.empty() ? 0 : RunningQvpost(list);
    if (process != 0) return Refuse("process ", process, " is a qvpost that works on ", Quoted{list.c_str()});
    UpdateSet set;
    int descriptor = -1;
    switch (RecordReadFile(record, &set, &descriptor)) {
        case RecordRead::Missing:
            std::cout << "no record, nothing to mend\n";
            return true;
        case RecordRead::Bad:
            return false;
        case RecordRead::Whole:
            break;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {  // held to the end of the process
        return Refuse("another process mends ", Quoted{record.c_str()});
    }
    Mending mending(set);
    if (!mending.Look()) return false;
    const Version version = mending.Reachable();
    if (version == Version::Neither) {
        mending.Show();
        return Refuse(Quoted{record.c_str()}, " can't be settled: some files are neither all old nor all new");
    }
    if (!mending.Work(act) || (act && !mending.Flush())) return false;
    // The sources of a list that was applied are gone.
    if (version == Version::New && !list.empty() && IsListOf(list, set) && !Remove(list, act)) return false;
    if (!Remove(record, act)) return false;
    if (const int error = act ? FolderFlushOf(record) : 0)
        return RefuseFile("flush the folder of", record.c_str(), error);
    std::cout << (version == Version::Old ? "old version\n" : "new version\n");
    return true;
}

}  // namespace

Status MendCommand(const Arguments& arguments) {
    return Mend(arguments.operands[0], !arguments.onlyPrint) ? kDone : kRefused;
}
