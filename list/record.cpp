#include "list/record.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>

#include "common/util/option_string.h"
#include "list/folder.h"
#include "list/message.h"
#include "list/whole_file.h"

namespace {

constexpr std::string_view kFirstLine = "qvpost-list record 1";
constexpr std::string_view kLastWord = "end ";
constexpr size_t kNumbersSize = 160;  // six numbers and their blanks
constexpr uint32_t kSecond = 1'000'000'000;

// Takes a number and the byte behind it off the text.
template <class Number>
bool TakeNumber(std::string_view* text, char end, Number* number) {
    const char* const last = text->data() + text->size();
    const auto [rest, error] = std::from_chars(text->data(), last, *number);
    if (error != std::errc() || rest == last || *rest != end) return false;
    text->remove_prefix(static_cast<size_t>(rest + 1 - text->data()));
    return true;
}

bool TakeIdentity(std::string_view* text, FileIdentity* file) {
    if (!TakeNumber(text, ' ', &file->inode) || !TakeNumber(text, ' ', &file->size)) return false;
    if (!TakeNumber(text, '.', &file->seconds) || text->find(' ') != 9) return false;
    return TakeNumber(text, ' ', &file->nanoseconds);
}

// A destination is short enough for each of its backup names to be whole.
bool IsUpdate(char* line, UpdateSet* set) {
    std::string_view text = line;
    Update update{};
    UpdateEntry entry;
    if (!TakeIdentity(&text, &update.oldFile) || !TakeIdentity(&text, &update.newFile)) return false;
    if (UpdateParseLine(line + (text.data() - line), &entry).code != nullptr) return false;
    if (*entry.source != '/' || *entry.destination != '/' || UpdateSetBackupIsCut(entry.destination)) return false;
    update.source = set->names.Add(entry.source);
    update.destination = set->names.Add(entry.destination);
    update.line = static_cast<int>(set->updates.size()) + 1;
    set->updates.push_back(update);
    return true;
}

// Reads a whole record and returns 0, else the number of the line that isn't right; errno is that of the read.
int ReadLines(FILE* record, UpdateSet* set) {
    char line[kNumbersSize + kUpdateLineSize];
    bool ended = false;
    int number = 0;
    for (; errno = 0, fgets(line, sizeof line, record) != nullptr;) {
        ++number;
        char* const newline = strchr(line, '\n');
        if (newline == nullptr || ended) return number;
        *newline = '\0';
        std::string_view text = line;
        if (number == 1) {
            if (text != kFirstLine) return number;
        } else if (text.starts_with(kLastWord)) {
            *newline = '\n';
            text = {line + kLastWord.size(), newline + 1};
            size_t count = 0;
            if (!TakeNumber(&text, '\n', &count) || count != set->updates.size()) return number;
            ended = true;
        } else if (!IsUpdate(line, set)) {
            return number;
        }
    }
    return ended ? 0 : number + 1;
}

void AddIdentity(WholeFile* file, const FileIdentity& identity) {
    file->AddNumber(identity.inode);
    file->Add(" ");
    file->AddNumber(identity.size);
    file->Add(" ");
    file->AddNumber(identity.seconds);
    char digits[12];
    const char* const end = std::to_chars(digits, digits + sizeof digits, kSecond + identity.nanoseconds).ptr;
    digits[0] = '.';  // the leading 1 has kept the zeros behind it
    file->Add({digits, end});
    file->Add(" ");
}

void AddValue(WholeFile* file, std::string_view key, const char* name) {
    char value[kUpdateLineSize];
    const size_t length = strlen(name);
    memcpy(value, name, length + 1);
    OptionEscape(value);
    file->Add(key);
    file->Add({value, length});
}

void AddLine(WholeFile* file, const Update& update) {
    AddValue(file, "source=", update.source);
    AddValue(file, ",destination=", update.destination);
    file->Add("\n");
}

}  // namespace

std::string RecordListOf(const std::string& record) {
    return record.ends_with(kRecordSuffix) ? record.substr(0, record.size() - strlen(kRecordSuffix)) : "";
}

RecordRead RecordReadFile(const std::string& path, UpdateSet* set, int* descriptor) {
    char buffer[65536];
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "re"), fclose);
    if (file == nullptr) {
        const int error = errno;
        // Whoever deleted it may have been stopped before that was on the disk.
        if (error == ENOENT && FolderFlushOf(path) == 0) return RecordRead::Missing;
        RefuseFile("open", path.c_str(), error);
        return RecordRead::Bad;
    }
    setvbuf(file.get(), buffer, _IOFBF, sizeof buffer);
    const int line = ReadLines(file.get(), set);
    if (errno != 0 && ferror(file.get()) != 0) {
        RefuseFile("read", path.c_str(), errno);
        return RecordRead::Bad;
    }
    if (line != 0) {
        Refuse(Quoted{path.c_str()}, " is no whole record: line ", line, " isn't right");
        return RecordRead::Bad;
    }
    if (descriptor != nullptr) *descriptor = fcntl(fileno(file.get()), F_DUPFD_CLOEXEC, 0);
    return RecordRead::Whole;
}

bool RecordWrite(const std::string& path, const UpdateSet& set) {
    WholeFile file(path);
    file.Add(kFirstLine);
    file.Add("\n");
    for (const Update& update : set.updates) {
        AddIdentity(&file, update.oldFile);
        AddIdentity(&file, update.newFile);
        AddLine(&file, update);
    }
    file.Add(kLastWord);
    file.AddNumber(set.updates.size());
    file.Add("\n");
    return file.Finish();
}

bool RecordWriteList(const std::string& path, const UpdateSet& set) {
    WholeFile file(path);
    for (const Update& update : set.updates) AddLine(&file, update);
    return file.Finish();
}
