// Paths as texts. Stateless; any thread may call.
#pragma once

/// Joins directory and name with one '/'; nothing is merged or removed. A null or empty directory leaves the name
/// alone; a null or empty name gives null. Returns a new[] text that the caller frees with delete[].
char* FileJoinPath(const char* directory, const char* name);
