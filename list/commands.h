// The commands. Each prints what it has to tell on the standard output, and why it doesn't go on in one line on the
// standard error.
#pragma once

enum Status { kDone = 0, kRefused = 1, kUsage = 2 };

/// The options and operands of a command; what wasn't given is null or false.
struct Arguments {
    bool add = false, record = false, onlyPrint = false;  // -a -r -n
    const char* list = nullptr;                           // -o
    const char* operands[2] = {};
};

/// make [-a] [-o LIST] NEW ROOT: kDone when record and list are there, else kRefused and neither is left.
Status MakeCommand(const Arguments& arguments);

/// check [-r] LIST: kDone when nothing was found, kRefused when something was, kUsage when the list can't be read.
Status CheckCommand(const Arguments& arguments);

/// mend [-n] RECORD: kDone when all files are of one version, which is on the disk, and the record is deleted; or when
/// there is no record. Else kRefused.
Status MendCommand(const Arguments& arguments);
