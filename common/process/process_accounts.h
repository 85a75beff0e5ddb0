// Users and groups, host names and temporary names. Any thread may call; the look-ups use reentrant system calls.
// Linking these pulls in the user database, which a fully static program cannot serve.
#pragma once
#include <grp.h>
#include <pwd.h>
#include <sys/types.h>

/// Look up an entry (a null name is in no database): 1 with *record filled and *buffer a new[] block that holds its
/// texts; the caller frees it with delete[] once the record is no longer needed. -1 with errno after two log lines;
/// *buffer is then not to be used. ENOENT: there is no such entry. ERANGE: an entry exceeds the system's size for such
/// buffers; every look-up that reads past that entry fails.
int ProcessGetUserByName(const char* name, struct passwd* record, char** buffer);
int ProcessGetGroupByName(const char* name, struct group* record, char** buffer);
int ProcessGetUserById(uid_t id, struct passwd* record, char** buffer);
int ProcessGetGroupById(gid_t id, struct group* record, char** buffer);

/// The id of a name, or -1 (all bits set) with errno and the look-up's lines.
uid_t ProcessUserIdByName(const char* name);
gid_t ProcessGroupIdByName(const char* name);

/// Store the name of an id in the owned string *name (string_owned.h): 1, or -1 with errno and the look-up's lines,
/// *name then unchanged.
int ProcessUserNameById(char** name, uid_t id);
int ProcessGroupNameById(char** name, gid_t id);

/// The value of the environment variable HOSTNAME when it is set, even an empty one, else "localhost". Not to be freed;
/// valid until that variable changes. No system call is made.
const char* ProcessHostName();

/// "localhost".
const char* ProcessDefaultHostName();

/// 1 for exactly (in lower case) "localhost", "localhost.localdomain" and "127.0.0.1", else 0. name is not null.
int ProcessIsLocalHost(const char* name);

/// The first of TEMP, TMP (environment variables, set and not empty) and "/tmp". Not to be freed; valid until they
/// change.
const char* ProcessTempDirectory();

/// A name for a temporary file, "<directory>/<prefix><digits>", in a malloc block that the caller frees with free(3). A
/// null directory stands for ProcessTempDirectory, an empty one for none (with a log line); a null prefix for "T-".
/// Prefix and digits are cut at 1023 bytes. No file is created or searched for: the name is unsafe in a directory that
/// others write to. Null with errno ENOMEM after two log lines when memory is short.
char* ProcessTempName(const char* directory, const char* prefix);
