#include "list/update_set.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <string_view>

int UpdateSetRead(FILE* list, UpdateSet* set, ReportLineFault report, void* context) {
    char line[kUpdateLineSize];
    for (int number = 1; errno = 0, fgets(line, sizeof line, list) != nullptr;) {
        const int here = number;
        if (char* const newline = strchr(line, '\n')) {
            *newline = '\0';
            ++number;  // a piece of a line that is too long has the number of the line
        }
        UpdateEntry entry;
        const auto fault = UpdateParseLine(line, &entry);
        if (fault.code == nullptr) {
            set->updates.push_back({.source = set->names.Add(entry.source),
                                    .destination = set->names.Add(entry.destination),
                                    .oldFile = {},
                                    .newFile = {},
                                    .line = here});
        } else if (report != nullptr) {
            report(context, here, fault);
        }
    }
    return errno;
}

int UpdateSetMakeAbsolute(UpdateSet* set) {
    std::string folder;
    for (Update& update : set->updates) {
        for (const char** name : {&update.source, &update.destination}) {
            if (**name == '/') continue;
            if (folder.empty()) {
                char buffer[PATH_MAX];
                if (getcwd(buffer, sizeof buffer) == nullptr) return errno;
                folder = std::string(buffer) + "/";
            }
            *name = set->names.Add(folder, *name);
        }
    }
    return 0;
}

bool UpdateSetCanHold(const Update& update) {
    constexpr size_t kPair = 1023;  // bytes that OptionCheckPair takes at most
    constexpr size_t kKeys = std::string_view("source=,destination=\n").size();
    const std::string_view names[] = {update.source, update.destination};
    for (const std::string_view name : names) {
        if (name.size() > kPair || name.find_first_of("\n\x1D\x1E\x1F") != std::string_view::npos) return false;
    }
    return kKeys + names[0].size() + names[1].size() < kUpdateLineSize;
}

bool UpdateSetBackupIsCut(const char* destination) {
    constexpr size_t kSuffix = sizeof kUpdateBackupSuffix - 1 + std::string_view("10").size();
    static_assert(kUpdateTriedVariants == 10);
    return strlen(destination) + kSuffix > UpdateBackupName::kLimit;
}
