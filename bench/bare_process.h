/* Starting a program and waiting for it, as one would write it in C: what ProcessCreate is measured against. Both
 * return the wait status, or -1. */
#pragma once
#ifdef __cplusplus
extern "C" {
#endif

int BareForkExec(char* const* argv);
int BareSpawn(char* const* argv);

#ifdef __cplusplus
}
#endif
