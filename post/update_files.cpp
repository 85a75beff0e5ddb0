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

namespace {

// FileStat, not FileIsEntity: a line asks twelve times, and each would copy the path.
bool Exists(const char* path) {
    struct stat record;
    return FileStat(path, &record) == 1;
}

// Whether the destination is there. Notes the file system that it lies on: that of a symbolic link, not of what it
// leads to.
bool SeeDestination(UpdateEntry* entry, Leftovers* leftovers) {
    struct stat record;
    const bool seen = lstat(entry->destination, &record) == 0;
    if (!seen || !S_ISREG(record.st_mode)) leftovers->PathsChange();
    if (!seen) return false;
    entry->device = record.st_dev;
    return !S_ISLNK(record.st_mode) || Exists(entry->destination);
}

int ReportFile(const char* what, const char* name, const char* code, int error) {
    return LogFailure(error, "Can't ", what, " '", name, "' in context ['", code, "']");
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

// The backup name is taken and can't be freed: find one that isn't.
void ChooseFreeBackup(UpdateBackupName* name, UpdateEntry* entry) {
    if (name->SuffixCut()) return;  // keep the taken name: its rename fails, and nothing is lost
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
    if (!name.VariantCut() && leftovers->NoneBeside(entry->destination, &entry->device)) return;
    RemoveLeftovers(&name);
    if (!SeeDestination(entry, leftovers) || !Exists(entry->backup)) return;
    if (Remove(entry->backup) == 0) {
        Line(LogWarning) << "Removed '" << entry->backup << "'.\n";
    } else {
        ChooseFreeBackup(&name, entry);
    }
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
    }
    return error;
}

int ApplyLine(char* line, Leftovers* leftovers) {
    char* const newline = strchr(line, '\n');
    if (newline != nullptr) *newline = '\0';
    // The newline is shown too, in one piece with what follows it: the line-buffered stream then writes once.
    Line() << "PostMain: Parsing update line '" << line << (newline != nullptr ? "\n'.\n" : "'.\n");

    auto entry = std::make_unique<UpdateEntry>();
    if (const auto fault = UpdateParseLine(line, entry.get()); fault.code != nullptr) {
        Line(LogError) << fault << ".\n";
        return EINVAL;
    }
    ChooseBackup(entry.get(), leftovers);
    postData_.updates.push_back(entry.get());  // before the files move: they must not move without a record of it
    if (const int error = ReplaceFile(*entry)) {
        postData_.updates.pop_back();
        std::swap(postData_.entry, entry->destination);  // not a copy, which memory could be short for
        return error;
    }
    static_cast<void>(entry.release());  // postData_.updates owns it now
    return 0;
}

uint64_t SizeOf(FILE* file) {
    struct stat record = {};  // where it can't be told
    fstat(fileno(file), &record);
    return static_cast<uint64_t>(record.st_size);
}

int ApplyLines(FILE* list) {
    char line[kUpdateLineSize];
    Leftovers leftovers(SizeOf(list));
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

// Takes the first update off the list.
std::unique_ptr<UpdateEntry> TakeUpdate() {
    std::unique_ptr<UpdateEntry> entry(postData_.updates.front());
    postData_.updates.pop_front();
    return entry;
}

// A descriptor of the folder that a path lies in, or -1.
int OpenFolder(const char* path) { return open(std::string(UpdateFolder(path)).c_str(), O_RDONLY | O_CLOEXEC); }

// The new files, which nobody may have flushed yet, and the log must be on the disk before the first backup goes: a
// power cut would else leave neither version, or a log that says that there is a way back. A file system is flushed
// once, through the first folder on it that can be opened; sync(2) would wait for everybody else's.
bool FlushUpdates() {
    std::vector<dev_t> flushed;
    for (const UpdateEntry* entry : postData_.updates) {
        if (std::find(flushed.begin(), flushed.end(), entry->device) != flushed.end()) continue;
        const int folder = OpenFolder(entry->destination);
        if (folder == -1) continue;
        const int error = syncfs(folder) == 0 ? 0 : errno;
        close(folder);
        if (error != 0) {
            ReportFile("flush", entry->destination, "AG", error);
            return false;
        }
        flushed.push_back(entry->device);
    }
    fdatasync(STDERR_FILENO);  // a log in a pipe can't be flushed
    return true;
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
    unlink(path);
    return result;
}

void PostMainRollBack() {
    if (postData_.updates.empty()) {
        Line() << "PostMain: No updates to roll back.\n";
        return;
    }
    Line() << "PostMain: Rolling back " << postData_.updates.size() << " files.\n";
    while (!postData_.updates.empty()) {
        const auto entry = TakeUpdate();
        if (const int error = Rename(entry->destination, entry->source)) {
            ReportFile("rename", entry->destination, "AG", error);
        }
        if (const int error = Rename(entry->backup, entry->destination)) {
            ReportFile("rename", entry->backup, "AG", error);
        }
    }
}

void PostMainFreeUpdates() {
    for (char** text :
         {&postData_.client, &postData_.server, &postData_.updateFile, &postData_.action, &postData_.entry}) {
        StringReset(text);
    }
    if (postData_.updates.empty()) {
        Line() << "PostMain: No updates to free.\n";
        return;
    }
    Line() << "PostMain: Removing " << postData_.updates.size() << " updated entries.\n";
    const bool flushed = FlushUpdates();
    while (!postData_.updates.empty()) {
        const auto entry = TakeUpdate();
        if (!flushed) continue;  // the backup may be all that the disk has
        Line() << "PostMain: Removing '" << entry->backup << "'.\n";
        if (const int error = Remove(entry->backup)) ReportFile("remove", entry->backup, "AG", error);
    }
}
