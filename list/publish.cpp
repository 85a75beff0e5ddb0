#include "list/publish.h"

#include "list/folder.h"
#include "list/mend.h"
#include "list/message.h"
#include "list/record.h"
#include "list/running.h"

bool ListIsFree(const std::string& list) {
    if (const int process = RunningQvpost(list)) {
        return Refuse("process ", process, " is a qvpost that works on ", Quoted{list.c_str()});
    }
    return RecordIsSettled(list + kRecordSuffix);
}

bool ListCanHold(const UpdateSet& set) {
    bool good = true;
    for (const Update& update : set.updates) {
        if (!UpdateSetCanHold(update)) good = Refuse("can't name ", Quoted{update.source}, " in a list");
    }
    return good;
}

bool FlushSources(const Inspection& inspection) {
    for (const auto& folder : inspection.fileSystems) {
        if (const int error = FolderFlushFileSystem(folder)) return RefuseFile("flush", folder.c_str(), error);
    }
    return true;
}
