// Everything about the files of an update that would make its run fail or lose a file.
#pragma once
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "list/update_set.h"

/// What was found, a line a thing, in the form of a compiler: LIST:3: source '/a' is missing. Line 0 stands for what is
/// on no line and isn't printed.
class Findings {
public:
    explicit Findings(std::string list) : list_(std::move(list)) {}

    template <class... Words>
    void Error(int line, const Words&... words) {
        errors_ = true;
        Add(line, words...);
    }
    template <class... Words>
    void Warning(int line, const Words&... words) {
        Add(line, "warning: ", words...);
    }
    bool HasErrors() const { return errors_; }

    /// Writes all on the standard error, in the order of the lines.
    void Print();

private:
    template <class... Words>
    void Add(int line, const Words&... words) {
        std::ostringstream text;
        (text << ... << words);
        found_.emplace_back(line, text.str());
    }

    const std::string list_;
    std::vector<std::pair<int, std::string>> found_;
    bool errors_ = false;
};

/// What InspectFiles finds out beside the findings.
struct Inspection {
    std::vector<std::string> fileSystems;  ///< a folder of each one that holds a source
    std::vector<Update> added;  ///< the updates whose destination isn't there, unless that is an error; on line 0
};

/// What an update is whose destination isn't there.
enum class Absent {
    Error,
    Left,   ///< it goes to Inspection::added, and the lines that are left are numbered anew
    Added,  ///< that too, and its source must be on the file system where the destination will be
};

/// Looks at every file of the set, fills in its identity, and reports. list is the path of the list, which stands for
/// its record too.
Inspection InspectFiles(const std::string& list, Absent absent, UpdateSet* set, Findings* findings);
