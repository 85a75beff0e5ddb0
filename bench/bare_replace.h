/* The system calls of a replacement and nothing else: what qvpost is measured against. */
#pragma once
#ifdef __cplusplus
extern "C" {
#endif

/* Works through an update list (source=...,destination=..., no escapes) with the calls that qvpost makes: for each line
 * 2 renames, 3 writes, and at the end 1 write and 1 unlink. Before the renames, with asks other than 0, 12 stats, the
 * questions of a program that knows nothing of the folder; else a look at the folder, once for all the lines in it that
 * stand together. The texts that are written to log are as long as qvpost's. Deletes the list. Returns 0, or 1 when a
 * call failed that should not. */
int BareReplace(const char* list, int log, int asks);

#ifdef __cplusplus
}
#endif
