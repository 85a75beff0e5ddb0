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

/// A folder is read when the list has enough lines in it to pay for that: a list that never gains by a look loses next
/// to nothing by them. What the run makes is known like what it found; what somebody else makes after the look isn't.
class Leftovers {
public:
    /// To be called once for each line, before anything of it is renamed or removed.
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

    /// To be called in place of NoneBeside for a line that makes other names than those.
    void Forget() noexcept;

private:
    struct Names {
        bool known = false;
        /// Hashes of the destinations that must be asked about; one too many does no harm.
        std::unordered_set<uint64_t> asked;
    };
    using Places = std::map<std::pair<dev_t, ino_t>, Names>;

    /// A folder as the list spells it.
    struct Folder {
        Folder();
        uint64_t lines = 0;                   ///< so far
        uint64_t due;                         ///< with how many lines it is looked at
        uint64_t turn = 0;                    ///< when place was right
        Places::value_type* place = nullptr;  ///< where the path leads
    };

    bool Ask(const char* destination, dev_t* device);
    void Find(const std::string& path, bool look, Folder* folder);
    void Read(const std::string& path, Folder* folder);

    std::unordered_map<std::string, Folder> folders_;
    Places places_;
    uint64_t known_ = 0;  ///< how many places are; while there is one, a line's place must be found
    uint64_t lines_ = 0, finds_ = 0, spared_ = 0, turn_ = 1;
};
