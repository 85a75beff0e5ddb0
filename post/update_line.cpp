#include "post/update_line.h"

#include <cstdio>
#include <ostream>

#include "common/util/option_string.h"
#include "common/util/string_owned.h"

static constexpr char kMissing[] = "AF";  // the code of a line that lacks a key

UpdateEntry::~UpdateEntry() {
    for (char** text : {&source, &destination, &backup}) StringReset(text);
}

std::ostream& operator<<(std::ostream& out, const UpdateLineFault& fault) {
    if (strcmp(fault.code, kMissing) == 0) {
        return out << "Can't find option '" << fault.key << "' in context ['" << kMissing << "']";
    }
    return out << "Invalid option '" << fault.key << "' value '" << StringOrNil(fault.value) << "' in context ['"
               << fault.code << "']";
}

UpdateLineFault UpdateParseLine(char* line, UpdateEntry* entry) {
    char* rest = nullptr;
    for (char* key = strtok_r(line, "=", &rest); key != nullptr; key = strtok_r(nullptr, "=", &rest)) {
        char* value = strtok_r(nullptr, ",", &rest);
        if (OptionCheckPair(key, value, 0) != 1) return {"AD", key, value};
        char** const field = strcmp(key, "source") == 0        ? &entry->source
                             : strcmp(key, "destination") == 0 ? &entry->destination
                                                               : nullptr;
        if (field == nullptr) return {"AE", key, value};
        OptionUnescape(value);
        StringSet(field, value);
    }
    if (entry->source == nullptr) return {kMissing, "source", nullptr};
    if (entry->destination == nullptr) return {kMissing, "destination", nullptr};
    return {};
}

void UpdateNameBackup(UpdateEntry* entry) {
    StringAdd(&entry->backup, entry->destination, kUpdateBackupSuffix, nullptr, nullptr);
}

std::string_view Dirname(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
}

const char* Basename(const char* path) {
    const char* const slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

const char* UpdateBackupName::With(int number) {
    snprintf(text_ + stem_, sizeof text_ - stem_, "%d", number);
    return text_;
}
