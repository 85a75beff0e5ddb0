// The record of an update: a text file beside the list that says, for each of its lines, which file was the old and
// which the new one.
//
//     qvpost-list record 1
//     <old file> <new file> source=<name>,destination=<name>
//     end <the number of lines between>
//
// A file is three numbers with a blank between them: its inode, its size in bytes, and the time of its last change in
// seconds since 1970, with nine digits behind a point. The rest of the line is one of the list, with absolute names.
#pragma once
#include <string>

#include "list/update_set.h"

/// The name of the record of a list.
inline constexpr char kRecordSuffix[] = ".record";

/// The name of the list of a record; empty when the record's name doesn't end as it should.
std::string RecordListOf(const std::string& record);

enum class RecordRead { Whole, Missing, Bad };

/// Reads a record. Missing when there is no such file in a folder that is there; Bad when it can't be read or isn't a
/// whole record, which is said on the standard error. descriptor, where it is given, gets the open file, which then
/// belongs to the caller.
RecordRead RecordReadFile(const std::string& path, UpdateSet* set, int* descriptor = nullptr);

/// Writes the record of a set, whose names are absolute; false when that failed, which is said on the standard error.
bool RecordWrite(const std::string& path, const UpdateSet& set);

/// Writes the list of a set in the same way.
bool RecordWriteList(const std::string& path, const UpdateSet& set);
