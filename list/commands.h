// The commands. Each prints its results on the standard output, and on the standard error why it does not go on.
#pragma once
#include "list/record.h"

enum Status { kDone = 0, kRefused = 1, kUsage = 2, kHeld = 3 };

struct Arguments {
    bool flag = false;           ///< the option of the command that is a letter alone
    const char* list = nullptr;  ///< -o, if given
    char** operands = nullptr;
};

Status MakeCommand(const Arguments& arguments);
Status CheckCommand(const Arguments& arguments);
Status RecoverCommand(const Arguments& arguments);

/// Reads the status of every file of the set, fills in the identities, and reports; list is the path of the list. With
/// missing, an update without a destination is no error: its source goes there, and the other lines are renumbered.
void CheckFiles(UpdateSet* set, const std::string& list, Directories* directories, Diagnostics* diagnostics,
                std::vector<std::string>* missing);

/// Locks a record that is about to be written. False when it is held or its update is not settled, which is printed.
bool ReserveRecord(Record* record);
