// Any bytes as an update list, on a folder that is a map. Whatever the list says, and whether the run ends well or not,
// every file must be where it belongs in the end.
#include <sys/stat.h>

#include <cerrno>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/log/logger.h"
#include "common/util/string_owned.h"
#include "post/exit_path.h"
#include "post/phases.h"
#include "post/post_data.h"

namespace {

using Folder = std::map<std::string, std::string>;  // name, content
constexpr char kStays[] = "b.temporary";            // can't be removed

Folder folder;
const uint8_t* listBytes;
size_t listSize;
jmp_buf endOfRun;
int exitCode;
bool inside;    // the fuzzer itself works on real files
bool collided;  // two lines mean one name, which a list must not do: then files can be lost
std::set<std::string> removed;

void Require(bool holds) {
    if (!holds) abort();
}

int Fail(int error) {
    errno = error;
    return -1;
}

// Whether the lines so far, and the one that is being applied, have a name in common; an applied one its backup with
// what a later one removes.
void NoteCollisions(const char* removing = nullptr) {
    std::set<std::string> names;
    if (removing != nullptr) names.insert(removing);
    const size_t others = names.size();
    for (const UpdateEntry* entry : postData_.updates) names.insert({entry->source, entry->destination, entry->backup});
    if (names.size() != 3 * postData_.updates.size() + others) collided = true;
}

// The folder after a success, by the plainest code.
Folder Updated(Folder files, const std::vector<std::pair<std::string, std::string>>& moves) {
    for (const auto& [source, destination] : moves) {
        files[destination] = files[source];
        files.erase(source);
    }
    return files;
}

}  // namespace

extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
int __real_stat(const char* path, struct stat* record);
int __real_unlink(const char* path);
int __real_rename(const char* from, const char* to);
[[noreturn]] void __real_exit(int code);

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
    if (folder.count(path) == 0) return Fail(ENOENT);
    if (path == std::string(kStays)) return Fail(EACCES);
    Require(std::string(path).find(".temporary") != std::string::npos);
    NoteCollisions(path);
    folder.erase(path);
    removed.insert(path);
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
    for (const char* name : {"a", "b", "c", "d, e", "b.temporary", "c.temporary7", "c.temporary10"})
        folder[name] = name;
    const Folder before = folder;
    listBytes = data;
    listSize = size;
    PostMainSetStartValues();
    StringSet(&postData_.updateFile, "list");
    collided = false;
    removed.clear();
    static std::vector<std::pair<std::string, std::string>> moves;
    moves.clear();
    inside = true;
    if (setjmp(endOfRun) == 0) {
        PostMainUpdateFiles();
        for (const UpdateEntry* entry : postData_.updates) moves.emplace_back(entry->source, entry->destination);
        if (size % 2 != 0) PostMainExitFailed(nullptr, EIO);
        PostMainExit();
    }
    inside = false;
    Require(postData_.updates.empty());
    if (collided) return 0;
    Folder expected = before;
    for (const std::string& name : removed) expected.erase(name);
    Require(folder == (exitCode == 0 ? Updated(expected, moves) : expected));
    return 0;
}
}
