#include "common/util/path_text.h"

#include "common/util/string_owned.h"

char* FileJoinPath(const char* directory, const char* name) {
    if (name == nullptr || *name == '\0') return nullptr;
    if (directory == nullptr || *directory == '\0') return StringCopy(name);
    char* path = nullptr;
    StringAdd(&path, directory, "/", name, nullptr);
    return path;
}
