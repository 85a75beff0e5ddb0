// The two files of an update: its list, which qvpost reads, and its record, a text file beside it that names for each
// line which file is the old and which the new one.
//     qvpost-list record 2
//     <old file> <new file> source=<name>,destination=<name>
//     end <the number of lines between>
// A file is its inode, its size or the word "birth", and the time of its modification or birth. The rest of the line is
// one of the list, with absolute names. A run holds a shared lock on the record, this program an exclusive one.
#pragma once
#include <cstdio>
#include <memory>

#include "list/directory.h"

/// A line of the list.
struct Update {
    std::string source, destination;
    FileIdentity oldFile, newFile;  ///< of the destination and of the source
    int line = 0;                   ///< from 1 on
    const std::string& Path(Role role) const { return role == kSource ? source : destination; }
};
using UpdateSet = std::vector<Update>;

/// The bytes that a list cannot hold in a name, and how many of others it can.
inline constexpr char kUnlistable[] = "\n\x1D\x1E\x1F";
inline constexpr size_t kLongestName = 1023;

/// Reads a list, which lies in the directory, as qvpost does. A line that qvpost would not take is an error of the
/// diagnostics; the set gets the others. False when the list cannot be read, which is printed.
bool ListRead(const Directory& directory, const std::string& path, UpdateSet* set, Diagnostics* diagnostics);

/// Whether a destination is so long that a backup name of it, or a numbered one, would be cut.
bool UpdateBackupIsCut(const std::string& destination);

class Record {
public:
    enum class State { Missing, Held, Bad, Locked };
    explicit Record(std::string path) : path_(std::move(path)) {}
    /// Opens the file and takes the lock without waiting. Missing when there is no such file in a directory that
    /// exists; Held when another process holds it and Bad when it cannot be opened, which is printed.
    State Open();
    /// Reads the locked record. False when that fails or it is not whole, which is printed.
    bool Read(UpdateSet* set) const;
    /// Writes the record of a set whose names are absolute, in place of the one that is locked, and the list, if given.
    /// True when both are on the disk. Otherwise neither has its name, which is printed.
    bool Write(const UpdateSet& set, const std::string& list = {}) const;
    /// Deletes the locked record and flushes its directory. False when that fails, which is printed.
    bool Remove() const;
    const std::string& Path() const { return path_; }
    const Directory& In() const { return directory_; }

private:
    bool IsNamed() const;
    const std::string path_;
    Directory directory_;
    std::unique_ptr<FILE, int (*)(FILE*)> file_{nullptr, fclose};
};
