#include "post/update_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "common/io/file.h"
#include "common/log/report.h"
#include "common/util/string_owned.h"
#include "post/interrupts.h"
#include "post/leftovers.h"
#include "post/post_data.h"
#include "post/run_log.h"
#include "post/update_line.h"
#include "post/update_record.h"

namespace {

// A file could not be restored, deleted or flushed: the record may be needed.
bool leftUndone = false;

// FileStat, since FileIsEntity would copy the path, twelve times a line.
bool Exists(const char* path) {
    struct stat record;
    return FileStat(path, &record) == 1;
}

int ReportFile(const char* what, const char* name, const char* code, int error) {
    return LogFailure(error, "Can't ", what, " '", name, "' in context ['", code, "']");
}

// Reports a failure that qvpost-list can recover from.
void ReportUndone(const char* what, const char* name, int error) {
    ReportFile(what, name, "AG", error);
    leftUndone = true;
}

// 0 or errno.
int Rename(const char* from, const char* to) {
    Line() << "PostMain: Renaming '" << from << "' as '" << to << "'.\n";
    return rename(from, to) == 0 ? 0 : errno;
}

int Remove(const char* path) { return unlink(path) == 0 ? 0 : errno; }

void RemoveLeftover(const char* name) {
    if (!Exists(name)) return;
    const int error = Remove(name);
    if (error == 0) {
        Line() << "PostMain: Successfully removed leftover '" << name << "'.\n";
    } else {
        Line() << "PostMain: WARNING! Could not remove leftover '" << name << "'. "
               << ErrorIs{error, ErrorForm::BothQuoted} << ".\n";
    }
}

void RemoveLeftovers(UpdateBackupName* name) {
    if (name->SuffixCut()) return;
    RemoveLeftover(name->Get());
    for (int number = 1; number <= kUpdateClearedVariants; ++number) RemoveLeftover(name->With(number));
}

// The backup name exists and cannot be removed: choose a free variant.
void ChooseFreeBackup(UpdateBackupName* name, UpdateEntry* entry) {
    if (name->SuffixCut()) return;  // keep the name: the rename to it fails, and nothing is lost
    for (int number = 1; number <= kUpdateTriedVariants; ++number) {
        Line() << "PostMain: Checking if '" << name->With(number) << "' exist.\n";
        if (!Exists(name->Get())) break;
    }
    Line() << "PostMain: Filename '" << name->Get() << "' is free to use.\n";
    StringSet(&entry->backup, name->Get());
}

void ChooseBackup(UpdateEntry* entry, Leftovers* leftovers) {
    UpdateNameBackup(entry);
    UpdateBackupName name(*entry);
    const bool lookUp = name.VariantCut() || !leftovers->NoneBeside(entry->destination);
    if (lookUp) {
        RemoveLeftovers(&name);
        if (Exists(entry->destination) && Exists(entry->backup)) {
            if (Remove(entry->backup) == 0) {
                Line(LogWarning) << "Removed '" << entry->backup << "'.\n";
            } else {
                ChooseFreeBackup(&name, entry);
            }
        }
    }
    leftovers->Moves(entry->destination, entry->backup, lookUp);
}

int ReplaceFile(const UpdateEntry& entry) {
    if (const int error = Rename(entry.destination, entry.backup)) {
        return ReportFile("rename", entry.destination, "AG", error);
    }
    const int error = Rename(entry.source, entry.destination);
    if (error == 0) return 0;
    ReportFile("rename", entry.source, "AH", error);
    if (rename(entry.backup, entry.destination) != 0) {
        LogFailure(errno, "Can't rename '", entry.backup, "' as '", entry.destination, "'");
        leftUndone = true;
    }
    return error;
}

int ApplyLine(char* line, Leftovers* leftovers) {
    char* const newline = strchr(line, '\n');
    if (newline != nullptr) *newline = '\0';
    // One insertion for the newline and the text after it: the line-buffered stream then writes once.
    Line() << "PostMain: Parsing update line '" << line << (newline != nullptr ? "\n'.\n" : "'.\n");

    auto entry = std::make_unique<UpdateEntry>();
    if (const auto fault = UpdateParseLine(line, entry.get()); fault.code != nullptr) {
        Line(LogError) << fault << ".\n";
        return EINVAL;
    }
    ChooseBackup(entry.get(), leftovers);
    postData_.updates.push_back(entry.get());  // before the renames: each renamed file has an entry
    if (const int error = ReplaceFile(*entry)) {
        postData_.updates.pop_back();
        std::swap(postData_.entry, entry->destination);  // a copy could fail for lack of memory
        return error;
    }
    static_cast<void>(entry.release());  // postData_.updates owns it now
    return 0;
}

int ApplyLines(FILE* list) {
    char line[kUpdateLineSize];
    struct stat record = {};  // the size stays 0 where it is not known
    fstat(fileno(list), &record);
    Leftovers leftovers(record.st_size);
    for (;;) {
        if (PostMainPendingSignal() != 0) return PostMainReportSignal();
        errno = 0;
        if (fgets(line, sizeof line, list) == nullptr) break;
        try {
            if (const int error = ApplyLine(line, &leftovers)) return error;
        } catch (const std::bad_alloc&) {
            ReportNoMemory("PostMain", "UpdateFiles", postData_.updateFile);
            Line(LogError) << RunErrorIs(ENOMEM) << ".\n";
            return ENOMEM;
        }
    }
    return errno == 0 ? 0 : LogFailure(errno, "Read from '", postData_.updateFile, "' failed");
}

int ApplyList(const char* path) {
    FILE* list = fopen(path, "re");  // close-on-exec
    if (list == nullptr) return LogFailure(errno, "Can't open '", path, "' for reading");
    Line() << "PostMain: Opened file '" << path << "' for reading.\n";
    const int result = ApplyLines(list);
    Line() << "PostMain: Closing '" << path << "' with " << postData_.updates.size() << " files updated.\n";
    fclose(list);
    return result;
}

// A descriptor on the file system of a destination, or -1. Its directory may be unreadable.
int OpenBeside(const char* destination) {
    const int directory = open(std::string(Dirname(destination)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory != -1) return directory;
    return open(destination, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

// Flushes each file system of the destinations once; sync(2) would wait for all file systems. Returns 0, or errno with
// the destination whose file system was not flushed.
int FlushFileSystems(const char** failed) {
    std::vector<dev_t> flushed;
    std::string_view last;
    for (const UpdateEntry* entry : postData_.updates) {
        const auto directory = Dirname(entry->destination);
        if (directory == last) continue;
        last = directory;
        *failed = entry->destination;
        const int descriptor = OpenBeside(entry->destination);
        if (descriptor == -1) return errno;
        struct stat record;
        int error = fstat(descriptor, &record) == 0 ? 0 : errno;
        if (error == 0 && std::find(flushed.begin(), flushed.end(), record.st_dev) == flushed.end()) {
            error = syncfs(descriptor) == 0 ? 0 : errno;
            flushed.push_back(record.st_dev);
        }
        close(descriptor);
        if (error != 0) return error;
    }
    return 0;
}

// Flushes the new files and the log before the first backup is deleted. After a power cut neither version of a file
// might be left otherwise, or the log might still show a way back.
bool FlushUpdates() {
    const char* failed = nullptr;
    if (const int error = FlushFileSystems(&failed)) {
        ReportUndone("flush", failed, error);
        return false;
    }
    fdatasync(STDERR_FILENO);  // a log in a pipe cannot be flushed
    return true;
}

void FinishUpdates() {
    const char* failed = nullptr;
    if (PostMainHasRecord() && FlushFileSystems(&failed) != 0) leftUndone = true;
    for (const UpdateEntry* entry : postData_.updates) delete entry;
    postData_.updates.clear();
}

}  // namespace

int PostMainReplaceFiles() {
    const char* path = postData_.updateFile;
    if (path == nullptr) {
        Line() << "PostMain: No files to update.\n";
        return 0;
    }
    Line() << "PostMain: ACTION! Updating files from '" << path << "'.\n";
    const int result = ApplyList(path);
    Line() << "PostMain: Removing '" << path << "'.\n";
    const int error = Remove(path);
    if (error != 0 && error != ENOENT) leftUndone = true;
    return result;
}

void PostMainRollBack() {
    if (postData_.updates.empty()) {
        Line() << "PostMain: No updates to roll back.\n";
    } else {
        Line() << "PostMain: Rolling back " << postData_.updates.size() << " files.\n";
    }
    for (const UpdateEntry* entry : postData_.updates) {
        if (const int error = Rename(entry->destination, entry->source)) {
            ReportUndone("rename", entry->destination, error);
        }
        if (const int error = Rename(entry->backup, entry->destination)) ReportUndone("rename", entry->backup, error);
    }
    FinishUpdates();
}

void PostMainFreeUpdates() {
    for (char** text :
         {&postData_.client, &postData_.server, &postData_.updateFile, &postData_.action, &postData_.entry}) {
        StringReset(text);
    }
    if (postData_.updates.empty()) {
        Line() << "PostMain: No updates to free.\n";
        FinishUpdates();
        return;
    }
    Line() << "PostMain: Removing " << postData_.updates.size() << " updated entries.\n";
    const bool flushed = FlushUpdates();
    for (const UpdateEntry* entry : postData_.updates) {
        if (!flushed) break;  // the disk may hold the backups alone
        Line() << "PostMain: Removing '" << entry->backup << "'.\n";
        if (const int error = Remove(entry->backup)) ReportUndone("remove", entry->backup, error);
    }
    FinishUpdates();
}

void PostMainCommitRecord() {
    if (!leftUndone && PostMainHasRecord()) PostMainRemoveRecord();
}
