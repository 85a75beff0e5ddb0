// The command that checks a list.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include "list/commands.h"
#include "list/inspect.h"
#include "list/message.h"
#include "list/publish.h"
#include "list/record.h"

Status CheckCommand(const Arguments& arguments) {
    const std::string list = arguments.operands[0];
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(list.c_str(), "re"), fclose);
    int error = errno;
    UpdateSet set;
    Findings findings(list);
    const auto report = [](void* context, int line, const UpdateLineFault& fault) {
        static_cast<Findings*>(context)->Error(line, fault);
    };
    if (file != nullptr) error = UpdateSetRead(file.get(), &set, report, &findings);
    if (file == nullptr || error != 0) {
        RefuseFile("read", list.c_str(), error);
        return kUsage;
    }
    const auto inspection = InspectFiles(list, Absent::Error, &set, &findings);
    findings.Print();
    if (findings.HasErrors()) return kRefused;
    if (!arguments.record) return kDone;
    if (!ListIsFree(list) || !FlushSources(inspection)) return kRefused;
    if (const int failure = UpdateSetMakeAbsolute(&set)) {
        RefuseFile("find the folder of", list.c_str(), failure);
        return kRefused;
    }
    return ListCanHold(set) && RecordWrite(list + kRecordSuffix, set) ? kDone : kRefused;
}
