// Any bytes as an update list, on the files of a directory of its own. Whatever the list says, every file must be where
// it was once it is rolled back.
#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <set>

#include "common/log/logger.h"
#include "common/util/string_owned.h"
#include "post/post_data.h"
#include "post/update_files.h"
#include "tests/support/scopes.h"

static std::map<std::string, std::string> expected;  // name, content
static bool collided;  // two lines mean one name, which a list must not do: then files can be lost

static void NoteCollision(std::set<std::string> names) {
    const size_t others = names.size();
    for (const UpdateEntry* entry : postData_.updates) names.insert({entry->source, entry->destination, entry->backup});
    if (names.size() != 3 * postData_.updates.size() + others) collided = true;
}

extern "C" int __real_unlink(const char* path);
extern "C" int __wrap_unlink(const char* path) {
    if (strchr(path, '/') != nullptr) return __real_unlink(path);  // the list, and what the fuzzer itself works on
    if (strstr(path, ".temporary") == nullptr) abort();
    NoteCollision({path});
    expected.erase(path);
    return __real_unlink(path);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const TemporaryDirectory directory;
    static const std::string list = "/dev/fd/" + std::to_string(memfd_create("list", 0));
    if (memchr(data, '/', size) != nullptr) return -1;  // only files of the directory are ours to move
    logger_.mode_ = 0;
    WriteFile(list, std::string(data, data + size));
    for (const auto& file : std::filesystem::directory_iterator(".")) std::filesystem::remove(file);
    expected.clear();
    for (const char* name : {"a", "b", "c", "d, e", "b.temporary", "c.temporary7", "c.temporary10"}) {
        WriteFile(name, expected[name] = name);
    }
    StringSet(&postData_.updateFile, list.c_str());
    collided = false;
    PostMainReplaceFiles();
    NoteCollision({});
    PostMainRollBack();
    std::map<std::string, std::string> found;
    for (const auto& file : std::filesystem::directory_iterator(".")) {
        found[file.path().filename()] = ReadFile(file.path());
    }
    if (!collided && found != expected) abort();
    return 0;
}
