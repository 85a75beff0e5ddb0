// What must hold before a record is written. Each says why not on the standard error, and gives false.
#pragma once
#include <string>

#include "list/inspect.h"

/// No qvpost works on the list, and nothing is left to do for the update of the record that may be there.
bool ListIsFree(const std::string& list);

/// A list can hold all names of the set.
bool ListCanHold(const UpdateSet& set);

/// Brings the sources to the disk, with one call for each file system that holds some.
bool FlushSources(const Inspection& inspection);
