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

// Something could not be put into its place, deleted or flushed: the record may be needed.
bool leftUndone = false;

// FileStat, not FileIsEntity: a line asks twelve times, and each would copy the path.
bool Exists(const char* path) {
    struct stat record;
    return FileStat(path, &record) == 1;
}

int ReportFile(const char* what, const char* name, const char* code, int error) {
    return LogFailure(error, "Can't ", what, " '", name, "' in context ['", code, "']");
}

// A failure that leaves something for qvpost-list to recover.
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
    const bool asks = name.VariantCut() || !leftovers->NoneBeside(entry->destination);
    if (asks) {
        RemoveLeftovers(&name);
        if (Exists(entry->destination) && Exists(entry->backup)) {
            if (Remove(entry->backup) == 0) {
                Line(LogWarning) << "Removed '" << entry->backup << "'.\n";
            } else {
                ChooseFreeBackup(&name, entry);
            }
        }
    }
    leftovers->Moves(entry->destination, entry->backup, asks);
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

int ApplyLines(FILE* list) {
    char line[kUpdateLineSize];
    Leftovers leftovers;
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

// A descriptor on the file system of a destination, or -1. Its directory may be closed to reading.
int OpenBeside(const char* destination) {
    const int directory = open(std::string(Dirname(destination)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory != -1) return directory;
    return open(destination, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

// The file systems that the destinations lie on, each once; sync(2) would wait for everybody else's. Returns 0, or
// errno, with the destination whose file system was not flushed.
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

// The new files, which nobody may have flushed yet, and the log must be on the disk before the first backup goes: a
// power cut would else leave neither version, or a log that shows a way back.
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
        if (!flushed) break;  // the backups may be all that the disk has
        Line() << "PostMain: Removing '" << entry->backup << "'.\n";
        if (const int error = Remove(entry->backup)) ReportUndone("remove", entry->backup, error);
    }
    FinishUpdates();
}

void PostMainSettleRecord() {
    if (!leftUndone && PostMainHasRecord()) PostMainRemoveRecord();
}
