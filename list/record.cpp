#include "list/record.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/util/option_string.h"

namespace {
constexpr char kFirstLine[] = "qvpost-list record 2", kFormerFirstLine[] = "qvpost-list record 1";
constexpr size_t kIdentitySize = 96;
using File = std::unique_ptr<FILE, int (*)(FILE*)>;
std::string IdentityText(const FileIdentity& file) {
    char text[kIdentitySize];
    const auto size = file.size == FileIdentity::kBorn ? "birth" : std::to_string(file.size);
    snprintf(text, sizeof text, "%" PRIu64 " %s %" PRId64 ".%09" PRIu32 " ", file.inode, size.c_str(), file.seconds,
             file.nanoseconds);
    return text;
}

// Takes an identity off the line. What is not as it is written is wrong.
bool TakeIdentity(char** line, FileIdentity* file) {
    char size[24];
    const int fields =
        sscanf(*line, "%" SCNu64 " %23s %" SCNd64 ".%9" SCNu32, &file->inode, size, &file->seconds, &file->nanoseconds);
    if (fields != 4) return false;
    file->size = strcmp(size, "birth") == 0 ? FileIdentity::kBorn : strtoll(size, nullptr, 10);
    const auto text = IdentityText(*file);
    if (strncmp(*line, text.c_str(), text.size()) != 0) return false;
    *line += text.size();
    return true;
}

// A destination is short enough for each of its backup names to be whole.
bool TakeUpdate(char* line, UpdateSet* set) {
    UpdateEntry entry;
    FileIdentity oldFile, newFile;
    if (!TakeIdentity(&line, &oldFile) || !TakeIdentity(&line, &newFile)) return false;
    if (UpdateParseLine(line, &entry).code != nullptr) return false;
    set->push_back({entry.source, entry.destination, oldFile, newFile, static_cast<int>(set->size()) + 2});
    return *entry.source == '/' && *entry.destination == '/' && !UpdateBackupIsCut(entry.destination);
}

// A line of the list with its newline; empty when a list cannot hold these names.
std::string ListLine(const Update& update) {
    std::string values[] = {update.source, update.destination};
    for (std::string& value : values) {
        if (value.size() > kLongestName || value.find_first_of(kUnlistable) != std::string::npos) return {};
        OptionEscape(value.data());
    }
    const auto line = "source=" + values[0] + ",destination=" + values[1] + "\n";
    return line.size() < kUpdateLineSize ? line : "";
}

// A file that is complete and flushed before it gets its name. It is locked until its object ends.
class AtomicFile {
public:
    AtomicFile(const Directory& directory, const std::string& path) : directory_(directory), path_(path) {}
    ~AtomicFile() {
        if (file_ != nullptr) unlinkat(directory_.Get(), LastName(temporary_), 0);
    }
    bool Write(const std::string& text) {
        const int descriptor = mkostemp(temporary_.data(), O_CLOEXEC);
        if (descriptor != -1) file_.reset(fdopen(descriptor, "w"));
        return (file_ != nullptr && flock(descriptor, LOCK_EX | LOCK_NB) == 0 &&
                fwrite(text.data(), 1, text.size(), file_.get()) == text.size() && fflush(file_.get()) == 0 &&
                fsync(descriptor) == 0) ||
               PrintFileError("write", path_, errno);
    }

    // Gives it its name, in place of another file or, without replace, only when there is none, and flushes that.
    bool Publish(bool replace) const {
        const int at = directory_.Get();
        const char *const name = LastName(path_), *const from = LastName(temporary_);
        const int result = replace ? renameat(at, from, at, name) : linkat(at, from, at, name, 0);
        if (result != 0) return PrintFileError("write", path_, errno);
        if (directory_.Flush(fsync)) return true;
        unlinkat(at, name, 0);
        return false;
    }

private:
    const Directory& directory_;
    const std::string& path_;
    std::string temporary_ = path_ + ".XXXXXX";
    File file_{nullptr, fclose};
};
}  // namespace

bool ListRead(const Directory& directory, const std::string& path, UpdateSet* set, Diagnostics* diagnostics) {
    const int descriptor = directory.OpenFile(path, O_RDONLY);
    if (descriptor == -1) return errno == ENOENT && PrintFileError("open", path, ENOENT);
    const File list(fdopen(descriptor, "r"), fclose);
    char line[kUpdateLineSize];
    for (int number = 1, next; fgets(line, sizeof line, list.get()) != nullptr; number = next) {
        // A piece of a line that is too long has the number of the line.
        next = number + (strchr(line, '\n') != nullptr ? 1 : 0);
        line[strcspn(line, "\n")] = '\0';
        UpdateEntry entry;
        const auto fault = UpdateParseLine(line, &entry);
        if (fault.code != nullptr) diagnostics->Error(number, fault);
        if (fault.code == nullptr) set->push_back({entry.source, entry.destination, {}, {}, number});
    }
    return ferror(list.get()) == 0 || PrintFileError("read", path, errno);
}

bool UpdateBackupIsCut(const std::string& destination) {
    constexpr size_t kSuffix = sizeof kUpdateBackupSuffix - 1, kNumber = 2;  // of kUpdateTriedVariants
    return destination.size() + kSuffix + kNumber > UpdateBackupName::kLimit ||
           strlen(LastName(destination)) + kSuffix > NAME_MAX;
}

bool Record::IsNamed() const {
    struct stat named, locked;
    return fstatat(directory_.Get(), LastName(path_), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           fstat(fileno(file_.get()), &locked) == 0 && named.st_dev == locked.st_dev && named.st_ino == locked.st_ino;
}

Record::State Record::Open() {
    if (!directory_.OpenOrPrint(std::string(Dirname(path_)))) return State::Bad;
    do {
        const int descriptor = directory_.OpenFile(path_, O_RDWR);
        if (descriptor == -1) return errno == ENOENT ? State::Missing : State::Bad;
        file_.reset(fdopen(descriptor, "r"));
        if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
            const bool isHeld = errno == EWOULDBLOCK;
            PrintError(Quote(path_), isHeld ? " is held by a run, or by another make or recover" : " cannot be locked");
            return isHeld ? State::Held : State::Bad;
        }
    } while (!IsNamed());  // whoever held it has deleted or replaced it
    return State::Locked;
}

bool Record::Read(UpdateSet* set) const {
    char line[2 * kIdentitySize + kUpdateLineSize];
    bool isEnded = false;
    int number = 0;
    while (fgets(line, sizeof line, file_.get()) != nullptr) {
        bool isRight = strchr(line, '\n') != nullptr && !isEnded;
        line[strcspn(line, "\n")] = '\0';
        if (++number == 1) {
            isRight = isRight && strcmp(line, kFirstLine) == 0;
            if (strcmp(line, kFormerFirstLine) == 0) return PrintError(Quote(path_), " is a record of version 1.1.0");
        } else if (line == "end " + std::to_string(set->size())) {
            isEnded = true;
        } else {
            isRight = isRight && TakeUpdate(line, set);
        }
        if (!isRight) return PrintError(Quote(path_), " is no whole record: line ", number, " is wrong");
    }
    if (ferror(file_.get()) != 0) return PrintFileError("read", path_, errno);
    return isEnded || PrintError(Quote(path_), " is no whole record: its end is missing");
}

bool Record::Write(const UpdateSet& set, const std::string& list) const {
    std::string text = std::string(kFirstLine) + "\n", lines;
    for (const Update& update : set) {
        const auto line = ListLine(update);
        if (line.empty()) return PrintError("cannot name ", Quote(update.source), " in a list");
        text += IdentityText(update.oldFile) + IdentityText(update.newFile) + line;
        if (!list.empty()) lines += line;
    }
    const int former = list.empty() ? -1 : directory_.OpenFile(list, O_RDONLY);
    if (former != -1) close(former);
    if (former == -1 && !list.empty() && errno != ENOENT) return false;
    AtomicFile record(directory_, path_), listed(directory_, list);
    text += "end " + std::to_string(set.size()) + "\n";
    if (!record.Write(text) || (!list.empty() && !listed.Write(lines))) return false;
    const bool replaces = file_ != nullptr;
    if (replaces && !IsNamed()) return PrintError(Quote(path_), " was replaced meanwhile");
    // The list of another update must not stand beside this record. Without the lock it could be that of another make.
    if (replaces && !list.empty()) unlinkat(directory_.Get(), LastName(list), 0);
    if (!record.Publish(replaces)) return false;
    if (list.empty() || listed.Publish(true)) return true;
    unlinkat(directory_.Get(), LastName(path_), 0);
    return false;
}

bool Record::Remove() const {
    if (!IsNamed()) return PrintError(Quote(path_), " was replaced meanwhile");
    if (unlinkat(directory_.Get(), LastName(path_), 0) != 0) return PrintFileError("remove", path_, errno);
    return directory_.Flush(fsync);
}
