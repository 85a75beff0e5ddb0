// Parses and checks a line of the update list and derives its names. Every reader of a list uses these functions.
// Stateless; nothing here logs.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <string_view>

/// The size of the buffer for fgets(3): a line of a list holds at most one byte less, its newline included. A longer
/// line is read in pieces, each of them a line.
constexpr int kUpdateLineSize = 2048;

/// A line of the update list. Owns its texts.
struct UpdateEntry {
    UpdateEntry() = default;
    ~UpdateEntry();
    UpdateEntry(const UpdateEntry&) = delete;
    UpdateEntry& operator=(const UpdateEntry&) = delete;

    char* source = nullptr;       ///< the path of the new file
    char* destination = nullptr;  ///< the path of the file that it replaces
    char* backup = nullptr;       ///< the path of the replaced file during the run
};

/// The error in a line, and its context code. The texts point into the line.
struct UpdateLineFault {
    const char* code = nullptr;  ///< null for a valid line
    const char* key = nullptr;
    const char* value = nullptr;  ///< may be null
};

/// Inserts the text of a fault, without a full stop: Invalid option 'source' value 'nil' in context ['AD']
std::ostream& operator<<(std::ostream& out, const UpdateLineFault& fault);

/// Parses the pairs of a line, which has no newline and is modified, into source and destination of entry and decodes
/// them. If a key is repeated, the last value wins.
UpdateLineFault UpdateParseLine(char* line, UpdateEntry* entry);

/// The suffix of the backup name of a destination.
inline constexpr char kUpdateBackupSuffix[] = ".temporary";

/// The suffix of the record of a list, which qvpost-list creates.
inline constexpr char kUpdateRecordSuffix[] = ".record";

/// Sets the backup name of an entry that has none: its destination and the suffix.
void UpdateNameBackup(UpdateEntry* entry);

/// The directory of a path as the path spells it, a part of it; "." for a single name.
std::string_view Dirname(std::string_view path);

/// The text after the last slash of a path; a part of it.
const char* Basename(const char* path);

/// The number of variants of a backup name, from 1 on, that are removed before a line together with the name, and the
/// number that are tried when the name cannot be removed.
constexpr int kUpdateClearedVariants = 9;
constexpr int kUpdateTriedVariants = 10;

/// The backup name of an entry with a decimal number appended, cut at 1022 characters.
class UpdateBackupName {
public:
    explicit UpdateBackupName(const UpdateEntry& entry)
        : suffixCut_(strlen(entry.destination) >= kLimit), stem_(std::min(strlen(entry.backup), kLimit)) {
        memcpy(text_, entry.backup, stem_);
        text_[stem_] = '\0';
    }

    /// Whether a variant of one digit is cut.
    bool VariantCut() const { return stem_ >= kLimit; }

    /// Whether the whole suffix is cut: the name is then that of an installed file.
    bool SuffixCut() const { return suffixCut_; }

    /// The name that With built last, or the one without a number.
    const char* Get() const { return text_; }

    const char* With(int number);

    static constexpr size_t kLimit = 1022;

private:
    const bool suffixCut_;
    const size_t stem_;
    char text_[kLimit + 1];
};
