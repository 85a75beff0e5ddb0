// What the programs here share: the clock, medians, running a program, and a tree of files to replace.
#pragma once
#include <sys/resource.h>

#include <string>
#include <vector>

/// Seconds on the monotonic clock.
double Now();

/// The middle value; of an even number the mean of the two in the middle.
double Median(std::vector<double> values);

/// Ends the program with a line on the standard output, where the log can't hide it.
[[noreturn]] void Fail(const std::string& what);

/// How a program ran, from its start to the end of the wait for it.
struct Run {
    double seconds;     ///< elapsed
    double cpuSeconds;  ///< of the processor, in the program and in the system
    long peakKilobytes;
};

/// Runs a program that must end with status 0, its standard error on errorPath (emptied before) and its standard output
/// on /dev/null.
Run RunProgram(const std::vector<std::string>& command, const std::string& errorPath);

/// A folder of installed files, the new ones beside it, and the update list.
class Tree {
public:
    /// Makes the installed files, so many in each folder.
    Tree(const std::string& dir, int lines, int filesOfFolder = 100);
    ~Tree();
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    /// Writes the new files and the list for the next replacement.
    void Unpack();

    /// Fails unless the first and the last file were replaced and nothing was left behind.
    void Check() const;

    const std::string& List() const { return list_; }

private:
    std::string Installed(int index) const { return Path("installed", index); }
    std::string Unpacked(int index) const { return Path("unpacked", index); }
    std::string Path(const char* side, int index) const;

    const std::string dir_, list_;
    const int lines_, filesOfFolder_;
    int unpacks_ = 0;
};
