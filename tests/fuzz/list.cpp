// Any bytes as an update list, on the files of a folder of its own. Whatever the list says, and whether the update is
// kept or rolled back, every file must be where it belongs in the end.
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>

#include "common/log/logger.h"
#include "common/util/string_owned.h"
#include "post/post_data.h"
#include "post/update_files.h"
#include "tests/support/scopes.h"

namespace {

std::map<std::string, std::string> expected;  // name, content
bool inside = false;                          // the fuzzer itself works on other files
bool collided;  // two lines mean one name, which a list must not do: then files can be lost

void Require(bool holds) {
    if (!holds) abort();
}

// Whether the lines so far, and the one that is being applied, have a name in common, or what is removed is one of
// theirs; and whether the paths lie in the folder.
bool MayChange(const char* path, const char* other, std::set<std::string> names) {
    const size_t others = names.size();
    for (const UpdateEntry* entry : postData_.updates) names.insert({entry->source, entry->destination, entry->backup});
    if (names.size() != 3 * postData_.updates.size() + others) collided = true;
    if (strchr(path, '/') == nullptr && strchr(other, '/') == nullptr) return true;
    errno = EACCES;
    return false;
}

}  // namespace

extern "C" {
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);

int __wrap_unlink(const char* path) {
    if (!inside) return __real_unlink(path);
    if (!MayChange(path, "", {path})) return -1;
    Require(strstr(path, ".temporary") != nullptr);
    expected.erase(path);
    return __real_unlink(path);
}

int __wrap_rename(const char* from, const char* to) {
    if (!inside) return __real_rename(from, to);
    if (!MayChange(from, to, {})) return -1;
    std::error_code ignored;  // of names that are too long, which the run must see itself
    Require(collided || !std::filesystem::exists(to, ignored));
    return __real_rename(from, to);
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const CurrentFolder folder;
    static const std::string list = "/dev/fd/" + std::to_string(memfd_create("list", 0));
    logger_.mode_ = 0;
    WriteFile(list, std::string(data, data + size));
    for (const auto& file : std::filesystem::directory_iterator(".")) std::filesystem::remove(file);
    expected.clear();
    for (const char* name : {"a", "b", "c", "d, e", "b.temporary", "c.temporary7", "c.temporary10"}) {
        WriteFile(name, expected[name] = name);
    }
    StringSet(&postData_.updateFile, list.c_str());
    collided = false;
    inside = true;
    if (PostMainReplaceFiles() == 0 && size % 2 == 0) {
        for (const UpdateEntry* entry : postData_.updates) {  // the plainest update
            expected[entry->destination] = expected[entry->source];
            expected.erase(entry->source);
        }
        PostMainFreeUpdates();
    } else {
        PostMainRollBack();
    }
    inside = false;
    std::map<std::string, std::string> found;
    for (const auto& file : std::filesystem::directory_iterator(".")) {
        found[file.path().filename()] = ReadFile(file.path());
    }
    Require(postData_.updates.empty() && (collided || found == expected));
    return 0;
}
}
