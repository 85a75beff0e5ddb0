// What lies beside the destinations of an update list, known from one look at their folders instead of twelve questions
// a line. Main thread. Nothing here logs, changes a file or fails: what isn't known is to be asked.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

/// A folder is read when its lines have paid for that, or before, as long as all that is read before isn't more than
/// the whole list: a list that never gains by a look loses next to nothing by them. What the run makes is known like
/// what it found; what somebody else makes after the look isn't.
class Leftovers {
public:
    /// For a list of so many bytes; 0 when its size isn't known.
    explicit Leftovers(uint64_t listSize) : ahead_(listSize) {}

    /// To be called once for each line, before anything of it is renamed or removed; for none whose variants are cut.
    ///
    /// True: neither the destination's backup name nor any of the numbered variants that are cleared before a line is
    /// there, and the destination is a regular file or not there. *device is the file system of its folder. False: any
    /// of this may be otherwise; *device is unchanged.
    ///
    /// What the line then does with the destination, its backup name and the variants of that is known to later calls.
    bool NoneBeside(const char* destination, dev_t* device) noexcept;

    /// To be called before a destination is renamed that may be anything but a regular file: a path that leads through
    /// a folder or a link can lead elsewhere from then on.
    void PathsChange() noexcept { ++turn_; }

private:
    struct Names {
        bool known = false;
        /// Hashes of the destinations that must be asked about; one too many does no harm.
        std::unordered_set<uint64_t> asked;
    };
    using Places = std::map<std::pair<dev_t, ino_t>, Names>;

    /// A folder as the list spells it.
    struct Folder {
        uint64_t lines = 0;                   ///< so far
        uint64_t due = 0;                     ///< with how many lines it is looked at
        uint64_t turn = 0;                    ///< when place was right
        Places::value_type* place = nullptr;  ///< where the path leads
    };

    using Folders = std::unordered_map<std::string, Folder>;

    void Forget() noexcept;
    bool Ask(const char* destination, dev_t* device);
    Folders::value_type& FolderOf(const char* destination);
    void Find(const std::string& path, bool look, Folder* folder);
    void Look(const std::string& path, uint64_t size, Folder* folder);

    Folders folders_;
    Folders::value_type* last_ = nullptr;  ///< of the line before
    Places places_;                        ///< while there is one, a line's place must be found
    uint64_t ahead_;                       ///< how many bytes of folders may be read that their lines haven't paid for
    uint64_t lines_ = 0, finds_ = 0, spared_ = 0, turn_ = 1;
};
