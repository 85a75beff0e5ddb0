// Any bytes as an update list, on a folder that is a map: whatever the list says, every step is a rename that can be
// undone.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>

#include "common/log/logger.h"
#include "common/util/string_owned.h"
#include "post/post_data.h"
#include "post/update_files.h"

namespace {

using Folder = std::map<std::string, std::string>;  // name, content

Folder folder;
const uint8_t* listBytes;
size_t listSize;
bool inside;    // the fuzzer itself works on real files
bool collided;  // two lines mean one name, which a list must not do: then files can be lost
std::set<std::string> removed;

bool Names(const UpdateEntry& entry, const std::string& name) {
    return name == entry.source || name == entry.destination || name == entry.backup;
}

// The names of the lines that were applied must all be different.
bool NamesCollide() {
    std::set<std::string> names;
    for (const UpdateEntry* entry : postData_.updates) names.insert({entry->source, entry->destination, entry->backup});
    return names.size() != 3 * postData_.updates.size();
}

int Fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
int __real_stat(const char* path, struct stat* record);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);

FILE* __wrap_fopen(const char* path, const char* mode) {
    if (!inside) return __real_fopen(path, mode);
    // fmemopen refuses an empty buffer in older C libraries.
    static uint8_t nothing;
    return fmemopen(listSize > 0 ? const_cast<uint8_t*>(listBytes) : &nothing, listSize, "r");
}

int __wrap_stat(const char* path, struct stat* record) {
    if (!inside) return __real_stat(path, record);
    *record = {};
    return folder.count(path) != 0 ? 0 : Fail(ENOENT);
}

int __wrap_unlink(const char* path) {
    if (!inside) return __real_unlink(path);
    if (folder.erase(path) == 0) return Fail(ENOENT);
    removed.insert(path);
    for (const UpdateEntry* entry : postData_.updates) collided = collided || Names(*entry, path);
    return 0;
}

int __wrap_rename(const char* from, const char* to) {
    if (!inside) return __real_rename(from, to);
    auto node = folder.extract(from);
    if (node.empty()) return Fail(ENOENT);
    if (folder.erase(to) != 0) collided = true;
    node.key() = to;
    folder.insert(std::move(node));
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    logger_.mode_ = 0;
    folder.clear();
    for (const char* name : {"a", "b", "c", "d, e", "b.temporary", "c.temporary7", "c.temporary10"})
        folder[name] = name;
    const Folder before = folder;
    listBytes = data;
    listSize = size;
    PostMainSetStartValues();
    StringSet(&postData_.updateFile, "list");
    collided = false;
    removed.clear();
    inside = true;
    PostMainReplaceFiles();
    collided = collided || NamesCollide();
    PostMainRollBack();
    if (!postData_.updates.empty()) abort();
    for (const auto& [name, content] : before) {
        if (!collided && removed.count(name) == 0 && folder[name] != content) abort();
    }
    PostMainFreeUpdates();
    inside = false;
    return 0;
}
}
