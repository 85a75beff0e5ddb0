#include "post/update_files.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "common/io/file.h"
#include "common/log/report.h"
#include "common/util/option_string.h"
#include "common/util/string_owned.h"
#include "post/interrupts.h"
#include "post/post_data.h"
#include "post/run_log.h"

namespace {

constexpr int kLineSize = 2048;
constexpr char kBackupSuffix[] = ".temporary";
constexpr int kLeftoverVariants = 9;  // cleaned before a line: the backup name and this many numbered ones
constexpr int kFreeVariants = 10;     // tried when the backup name can't be freed

// FileStat, not FileIsEntity: a line asks twelve times, and each would copy the path.
bool Exists(const char* path) {
    struct stat record;
    return FileStat(path, &record) == 1;
}

// The backup name of a destination with a decimal number behind it, cut at 1022 characters.
class NumberedName {
public:
    explicit NumberedName(const UpdateEntry& entry)
        : suffixCut_(strlen(entry.destination) >= kLimit), stem_(std::min(strlen(entry.backup), kLimit)) {
        memcpy(text_, entry.backup, stem_);
        text_[stem_] = '\0';
    }

    /// Cut so far that nothing of the suffix is left, the name is that of an installed file.
    bool SuffixCut() const { return suffixCut_; }

    const char* Plain() const { return text_; }

    const char* With(int number) {
        char digits[4];
        const auto length = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits);
        const size_t copied = std::min(length, kLimit - stem_);
        memcpy(text_ + stem_, digits, copied);
        text_[stem_ + copied] = '\0';
        return text_;
    }

private:
    static constexpr size_t kLimit = 1022;
    const bool suffixCut_;
    const size_t stem_;
    char text_[kLimit + 1];
};

int ReportFile(const char* what, const char* name, const char* code, int error) {
    return LogFailure(error, "Can't ", what, " '", name, "' in context ['", code, "']");
}

int ReportOption(const char* key, const char* value, const char* code) {
    Line(LogError) << "Invalid option '" << key << "' value '" << StringOrNil(value) << "' in context ['" << code
                   << "'].\n";
    return EINVAL;
}

int ReportMissing(const char* key) {
    Line(LogError) << "Can't find option '" << key << "' in context ['AF'].\n";
    return EINVAL;
}

// 0 or errno.
int Rename(const char* from, const char* to) {
    Line() << "PostMain: Renaming '" << from << "' as '" << to << "'.\n";
    return rename(from, to) == 0 ? 0 : errno;
}

int Remove(const char* path) { return unlink(path) == 0 ? 0 : errno; }

int ParseLine(char* line, UpdateEntry* entry) {
    char* rest = nullptr;
    for (char* key = strtok_r(line, "=", &rest); key != nullptr; key = strtok_r(nullptr, "=", &rest)) {
        char* value = strtok_r(nullptr, ",", &rest);
        if (OptionCheckPair(key, value, 0) != 1) return ReportOption(key, value, "AD");
        char** const field = strcmp(key, "source") == 0        ? &entry->source
                             : strcmp(key, "destination") == 0 ? &entry->destination
                                                               : nullptr;
        if (field == nullptr) return ReportOption(key, value, "AE");
        OptionUnescape(value);
        StringSet(field, value);
    }
    if (entry->source == nullptr) return ReportMissing("source");
    if (entry->destination == nullptr) return ReportMissing("destination");
    return 0;
}

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

void RemoveLeftovers(NumberedName* name) {
    if (name->SuffixCut()) return;
    RemoveLeftover(name->Plain());
    for (int number = 1; number <= kLeftoverVariants; ++number) RemoveLeftover(name->With(number));
}

// The backup name is taken and can't be freed: find one that isn't.
void ChooseFreeBackup(NumberedName* name, UpdateEntry* entry) {
    if (name->SuffixCut()) return;  // keep the taken name: its rename fails, and nothing is lost
    for (int number = 1; number <= kFreeVariants; ++number) {
        Line() << "PostMain: Checking if '" << name->With(number) << "' exist.\n";
        if (!Exists(name->Plain())) break;
    }
    Line() << "PostMain: Filename '" << name->Plain() << "' is free to use.\n";
    StringSet(&entry->backup, name->Plain());
}

void ChooseBackup(UpdateEntry* entry) {
    StringAdd(&entry->backup, entry->destination, kBackupSuffix, nullptr, nullptr);
    NumberedName name(*entry);
    RemoveLeftovers(&name);
    if (!Exists(entry->destination) || !Exists(entry->backup)) return;
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

int ApplyLine(char* line) {
    char* const newline = strchr(line, '\n');
    if (newline != nullptr) *newline = '\0';
    // The newline is shown too, in one piece with what follows it: the line-buffered stream then writes once.
    Line() << "PostMain: Parsing update line '" << line << (newline != nullptr ? "\n'.\n" : "'.\n");

    auto entry = std::make_unique<UpdateEntry>();
    if (const int error = ParseLine(line, entry.get())) return error;
    ChooseBackup(entry.get());
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
    char line[kLineSize];
    for (;;) {
        if (PostMainInterruption() != 0) return PostMainReportInterruption();
        errno = 0;
        if (fgets(line, sizeof line, list) == nullptr) break;
        try {
            if (const int error = ApplyLine(line)) return error;
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
    while (!postData_.updates.empty()) {
        const auto entry = TakeUpdate();
        Line() << "PostMain: Removing '" << entry->backup << "'.\n";
        if (const int error = Remove(entry->backup)) ReportFile("remove", entry->backup, "AG", error);
    }
}
