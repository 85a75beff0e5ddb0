#include "common/process/process_accounts.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/log/failure.h"
#include "common/util/string_owned.h"

namespace {

constexpr FailureStyle kError{.opening = "Process: ERROR! "};
constexpr FailureStyle kLookUpError{.opening = "Process: ERROR! ", .form = ErrorForm::CommaPlain};

template <class Key, class Record>
struct LookUp {
    int (*call)(Key, Record*, char*, size_t, Record**);
    int sizeName;  // for sysconf
    const char* key;
};

constexpr LookUp<const char*, passwd> kUserByName{getpwnam_r, _SC_GETPW_R_SIZE_MAX, "user"};
constexpr LookUp<const char*, group> kGroupByName{getgrnam_r, _SC_GETGR_R_SIZE_MAX, "group"};
constexpr LookUp<uid_t, passwd> kUserById{getpwuid_r, _SC_GETPW_R_SIZE_MAX, "user id"};
constexpr LookUp<gid_t, group> kGroupById{getgrgid_r, _SC_GETGR_R_SIZE_MAX, "group id"};

const char* Shown(const char* name) { return StringOrNil(name); }
int Shown(uid_t id) { return static_cast<int>(id); }

// The C library accepts no null name; an empty one is in no database either.
const char* NonNull(const char* name) { return name != nullptr ? name : ""; }
uid_t NonNull(uid_t id) { return id; }

template <class Key, class Record>
int Find(const LookUp<Key, Record>& lookUp, Key key, Record* record, char** buffer) {
    constexpr long kDefaultSize = 16384;
    const long limit = sysconf(lookUp.sizeName);
    const auto size = static_cast<size_t>(limit != -1 ? limit : kDefaultSize);
    *buffer = new char[size];
    Record* found = nullptr;
    const int result = lookUp.call(NonNull(key), record, *buffer, size, &found);
    if (found != nullptr) return 1;

    delete[] * buffer;
    errno = result != 0 ? result : ENOENT;
    return LogFailedCall(kLookUpError, "Can't get information for ", lookUp.key, " '", Shown(key), "'");
}

// Finds a record, passes it to use and frees its texts.
template <class Key, class Record, class Use>
int With(const LookUp<Key, Record>& lookUp, Key key, Use use) {
    Record record;
    char* buffer;
    if (Find(lookUp, key, &record, &buffer) != 1) return -1;
    use(record);
    delete[] buffer;
    return 1;
}

const char* Variable(const char* name) {
    const char* value = getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace

int ProcessGetUserByName(const char* name, struct passwd* record, char** buffer) {
    return Find(kUserByName, name, record, buffer);
}

int ProcessGetGroupByName(const char* name, struct group* record, char** buffer) {
    return Find(kGroupByName, name, record, buffer);
}

int ProcessGetUserById(uid_t id, struct passwd* record, char** buffer) { return Find(kUserById, id, record, buffer); }

int ProcessGetGroupById(gid_t id, struct group* record, char** buffer) { return Find(kGroupById, id, record, buffer); }

uid_t ProcessUserIdByName(const char* name) {
    auto id = static_cast<uid_t>(-1);
    With(kUserByName, name, [&](const passwd& user) { id = user.pw_uid; });
    return id;
}

gid_t ProcessGroupIdByName(const char* name) {
    auto id = static_cast<gid_t>(-1);
    With(kGroupByName, name, [&](const group& found) { id = found.gr_gid; });
    return id;
}

int ProcessUserNameById(char** name, uid_t id) {
    return With(kUserById, id, [&](const passwd& user) { StringSet(name, user.pw_name); });
}

int ProcessGroupNameById(char** name, gid_t id) {
    return With(kGroupById, id, [&](const group& found) { StringSet(name, found.gr_name); });
}

const char* ProcessHostName() {
    const char* name = getenv("HOSTNAME");
    return name != nullptr ? name : ProcessDefaultHostName();
}

const char* ProcessDefaultHostName() { return "localhost"; }

int ProcessIsLocalHost(const char* name) {
    for (const char* local : {"localhost", "localhost.localdomain", "127.0.0.1"}) {
        if (strcmp(name, local) == 0) return 1;
    }
    return 0;
}

const char* ProcessTempDirectory() {
    for (const char* name : {"TEMP", "TMP"}) {
        if (const char* directory = Variable(name)) return directory;
    }
    return "/tmp";
}

char* ProcessTempName(const char* directory, const char* prefix) {
    struct timeval now;
    gettimeofday(&now, nullptr);
    const uint32_t number = static_cast<uint32_t>(now.tv_usec) * static_cast<uint32_t>(gettid());
    char base[1024];
    snprintf(base, sizeof base, "%s%lu", prefix != nullptr ? prefix : "T-", static_cast<unsigned long>(number));
    if (directory == nullptr) directory = ProcessTempDirectory();

    const char* separator = "/";
    if (*directory == '\0') {
        Log() << "Process: WARNING! Returning temporary name in current directory.\n";
        separator = "";
    }
    const size_t size = strlen(directory) + strlen(separator) + strlen(base) + 1;
    auto* name = static_cast<char*>(malloc(size));
    if (name == nullptr) {
        LogFailedCall(kError, "Can't create temporary name");
        return nullptr;
    }
    snprintf(name, size, "%s%s%s", directory, separator, base);
    return name;
}
