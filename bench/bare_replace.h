/* The system calls of a replacement and nothing else: what qvpost is measured against. */
#pragma once
#ifdef __cplusplus
extern "C" {
#endif

/* Works through an update list (source=...,destination=..., no escapes) as qvpost does, call for call: for each line 12
 * stats, 2 renames, 3 writes, and at the end 1 write and 1 unlink. The texts that are written to log are as long as
 * qvpost's. Deletes the list. Returns 0, or 1 when a call failed that should not. */
int BareReplace(const char* list, int log);

#ifdef __cplusplus
}
#endif
