#include "bare_process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

static int Wait(pid_t pid) {
    int status = 0;
    return waitpid(pid, &status, 0) == pid ? status : -1;
}

int BareForkExec(char* const* argv) {
    const pid_t pid = fork();
    if (pid == -1) return -1;
    if (pid == 0) {
        execv(argv[0], argv);
        _exit(127);
    }
    return Wait(pid);
}

int BareSpawn(char* const* argv) {
    pid_t pid;
    if (posix_spawn(&pid, argv[0], NULL, NULL, argv, environ) != 0) return -1;
    return Wait(pid);
}
