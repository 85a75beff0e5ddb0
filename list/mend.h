// Mending an update whose run was stopped: where its files lie, which version that can become, and the way there.
#pragma once
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "list/folder.h"
#include "list/update_set.h"
#include "list/whereabouts.h"

enum class Version { Old, New, Neither };

/// What became of an update.
class Mending {
public:
    /// The set stays the caller's, unchanged.
    explicit Mending(const UpdateSet& set) : set_(set) {}

    /// Looks where every file lies. False when that can't be told, which is said on the standard error.
    bool Look();

    /// The version that the files can be brought to: the old one when every old file is there, else the new one when
    /// every new file is in its place.
    Version Reachable() const;

    /// Whether they are of that version, with nothing left to do.
    bool IsSettled() const;

    /// Prints what lies where.
    void Show();

    /// Brings the files to that version and prints each step; with act false it prints alone. False when a step failed,
    /// which is said on the standard error; repeating all of it is safe.
    bool Work(bool act);

    /// Brings everything to the disk. False when that failed, which is said on the standard error.
    bool Flush() const;

private:
    struct Line {
        Whereabouts where;
        LinePlan plan;
    };

    // A folder that is being looked at, and the names in it once they were asked for.
    struct Place {
        OpenFolder open;
        const FolderNames* names = nullptr;
    };

    // The names of a line, each until the next one is asked for. The space that a line has taken serves the next.
    class Names {
    public:
        void Set(const Update& update);
        const char* Path(size_t name) { return name == kSourceName ? source_ : Destination(name); }
        const char* Last(size_t name) {
            return name == kSourceName ? FileNameOf(source_) : Destination(name) + folder_;
        }

    private:
        const char* Destination(size_t name);

        const char* source_ = nullptr;
        std::string destination_;  // and what makes it the name of a backup
        size_t folder_ = 0, size_ = 0;
    };

    bool Enter(const char* path, Place* place);
    bool MayHold(Place* place, const char* name);
    bool LookAtLine(const Update& update, LineSightings* sightings);
    bool EnterBoth(const Update& update, bool needsSource);
    bool Act(const Update& update, const StepNames& step, size_t backup, bool act);
    uint8_t Steps(const Line& line) const { return Reachable() == Version::Old ? line.plan.back : line.plan.forward; }

    const UpdateSet& set_;
    std::vector<Line> lines_;
    uint8_t back_ = 0, forward_ = 0;  // the steps of all lines
    bool isNewSomewhere_ = false;
    Place source_, destination_;
    Names names_;
    std::string words_;                                      // a line of what is done, which goes out in one piece
    std::unordered_map<std::string, FolderNames> namesIn_;   // by folder
    std::unordered_map<uint64_t, std::string> fileSystems_;  // a folder of each
};

/// Whether nothing is left to do for the update of a record, or there is no record: true. Else false, which is said on
/// the standard error.
bool RecordIsSettled(const std::string& record);
