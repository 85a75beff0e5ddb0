// A line of the update list: how it is split and checked, and the names that it stands for. Whatever reads a list reads
// it through this, so that no two readers can disagree. Stateless; nothing here logs.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <string_view>

/// The buffer that lists are read with, by fgets(3): a line holds at most one byte less, its newline included. What is
/// longer comes in pieces, each a line of its own.
constexpr int kUpdateLineSize = 2048;

/// A line of the update list. Owns its texts.
struct UpdateEntry {
    UpdateEntry() = default;
    ~UpdateEntry();
    UpdateEntry(const UpdateEntry&) = delete;
    UpdateEntry& operator=(const UpdateEntry&) = delete;

    char* source = nullptr;       ///< where the new file comes from
    char* destination = nullptr;  ///< the file that it replaces
    char* backup = nullptr;       ///< where the replaced file lies meanwhile
};

/// What is wrong with a line, and the context code of that. The texts lie in the line.
struct UpdateLineFault {
    const char* code = nullptr;  ///< null when nothing is wrong
    const char* key = nullptr;
    const char* value = nullptr;  ///< may be missing
};

/// Inserts the words of a fault, without a full stop: Invalid option 'source' value 'nil' in context ['AD']
std::ostream& operator<<(std::ostream& out, const UpdateLineFault& fault);

/// Reads the pairs of a line without its newline, which is cut into pieces meanwhile, into source and destination of
/// entry, decoded. Of a key that stands there twice the later value counts.
UpdateLineFault UpdateParseLine(char* line, UpdateEntry* entry);

/// What stands behind the name of a destination in its backup name.
inline constexpr char kUpdateBackupSuffix[] = ".temporary";

/// What stands behind the name of a list in the name of its record, which qvpost-list makes.
inline constexpr char kUpdateRecordSuffix[] = ".record";

/// Gives an entry that has no backup name yet the usual one: its destination and the suffix.
void UpdateNameBackup(UpdateEntry* entry);

/// The folder that the last name of a path lies in, as the path spells it; "." where it has one name alone. It is part
/// of the path.
std::string_view Dirname(std::string_view path);

/// What stands behind the last slash of a path; part of it.
const char* Basename(const char* path);

/// How many numbered variants of a backup name, from 1 on, are cleared before a line like the name itself, and how many
/// are tried when the name can't be freed.
constexpr int kUpdateClearedVariants = 9;
constexpr int kUpdateTriedVariants = 10;

/// The backup name of an entry with a decimal number behind it, cut at 1022 characters.
class UpdateBackupName {
public:
    explicit UpdateBackupName(const UpdateEntry& entry)
        : suffixCut_(strlen(entry.destination) >= kLimit), stem_(std::min(strlen(entry.backup), kLimit)) {
        memcpy(text_, entry.backup, stem_);
        text_[stem_] = '\0';
    }

    /// A variant of one digit would be cut, or is.
    bool VariantCut() const { return stem_ >= kLimit; }

    /// Cut so far that nothing of the suffix is left, the name is that of an installed file.
    bool SuffixCut() const { return suffixCut_; }

    /// The name as it was asked for last.
    const char* Get() const { return text_; }

    const char* With(int number);

    static constexpr size_t kLimit = 1022;

private:
    const bool suffixCut_;
    const size_t stem_;
    char text_[kLimit + 1];
};
