// Any bytes as an update list, on a folder that is a map. Whatever the list says, and whether the run ends well or not,
// every file must be where it belongs in the end.
#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>

#include "common/log/logger.h"
#include "common/util/string_owned.h"
#include "post/exit_path.h"
#include "post/phases.h"
#include "post/post_data.h"

namespace {

using Folder = std::map<std::string, std::string>;  // name, content
constexpr char kStays[] = "b.temporary";            // can't be removed

Folder folder, expected;
Folder::const_iterator nextName;  // while the folder is read
const uint8_t* listBytes;
size_t listSize;
jmp_buf endOfRun;
int exitCode;
bool inside;    // the fuzzer itself works on real files
bool collided;  // two lines mean one name, which a list must not do: then files can be lost

void Require(bool holds) {
    if (!holds) abort();
}

int Fail(int error) {
    errno = error;
    return -1;
}

// Whether the lines so far, and the one that is being applied, have a name in common; an applied one its backup with
// what a later one removes.
void NoteCollisions(std::set<std::string> names = {}) {
    const size_t others = names.size();
    for (const UpdateEntry* entry : postData_.updates) names.insert({entry->source, entry->destination, entry->backup});
    if (names.size() != 3 * postData_.updates.size() + others) collided = true;
}

}  // namespace

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
int __real_stat(const char* path, struct stat* record);
DIR* __real_opendir(const char* path);
dirent* __real_readdir(DIR* stream);
int __real_closedir(DIR* stream);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);
[[noreturn]] void __real_exit(int code);

int __wrap_fdatasync(int /*descriptor*/) { return 0; }
int __wrap_syncfs(int /*descriptor*/) { return 0; }

FILE* __wrap_fopen(const char* path, const char* mode) {
    if (!inside) return __real_fopen(path, mode);
    static uint8_t nothing;  // fmemopen refuses an empty buffer in older C libraries
    return fmemopen(listSize > 0 ? const_cast<uint8_t*>(listBytes) : &nothing, listSize, "r");
}

int __wrap_stat(const char* path, struct stat* record) {
    if (!inside) return __real_stat(path, record);
    *record = {};
    record->st_mode = path == std::string(".") ? S_IFDIR : S_IFREG;
    return S_ISDIR(record->st_mode) || folder.contains(path) ? 0 : Fail(ENOENT);
}

DIR* __wrap_opendir(const char* path) {
    if (!inside) return __real_opendir(path);
    Require(path == std::string("."));
    nextName = folder.begin();
    return reinterpret_cast<DIR*>(&nextName);
}

dirent* __wrap_readdir(DIR* stream) {
    if (!inside) return __real_readdir(stream);
    if (nextName == folder.end()) return nullptr;
    static dirent entry;
    entry = {};
    entry.d_type = DT_REG;
    nextName++->first.copy(entry.d_name, sizeof entry.d_name - 1);
    return &entry;
}

int __wrap_closedir(DIR* stream) { return inside ? 0 : __real_closedir(stream); }

int __wrap_lstat(const char* path, struct stat* record) { return __wrap_stat(path, record); }

int __wrap_unlink(const char* path) {
    if (!inside) return __real_unlink(path);
    if (!folder.contains(path)) return Fail(ENOENT);
    if (path == std::string(kStays)) return Fail(EACCES);
    Require(std::string(path).find(".temporary") != std::string::npos);
    NoteCollisions({path});
    folder.erase(path);
    expected.erase(path);
    return 0;
}

int __wrap_rename(const char* from, const char* to) {
    if (!inside) return __real_rename(from, to);
    NoteCollisions();
    auto node = folder.extract(from);
    if (node.empty()) return Fail(ENOENT);
    Require(folder.erase(to) == 0 || collided);
    node.key() = to;
    folder.insert(std::move(node));
    return 0;
}

void __wrap_exit(int code) {
    if (!inside) __real_exit(code);
    exitCode = code;
    longjmp(endOfRun, 1);
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    logger_.mode_ = 0;
    folder.clear();
    for (const char* name : {"a", "b", "c", "d, e", kStays, "c.temporary7", "c.temporary10"}) folder[name] = name;
    expected = folder;
    listBytes = data;
    listSize = size;
    PostMainSetStartValues();
    StringSet(&postData_.updateFile, "list");
    collided = false;
    static Folder updated;  // by the plainest code
    inside = true;
    if (setjmp(endOfRun) == 0) {
        PostMainUpdateFiles();
        updated = expected;
        for (const UpdateEntry* entry : postData_.updates) {
            updated[entry->destination] = updated[entry->source];
            updated.erase(entry->source);
        }
        if (size % 2 != 0) PostMainExitFailed(nullptr, EIO);
        PostMainExit();
    }
    inside = false;
    Require(postData_.updates.empty());
    Require(collided || folder == (exitCode == 0 ? updated : expected));
    return 0;
}
}
