// Three things that the library is for: a log in a file, a child that is started and judged, a socket pipe to it.
//
//   qvcommon-example [LOG-FILE]        the default is example.log in the working directory
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "common/io/socket_pipe.h"
#include "common/log/error_name.h"
#include "common/log/logger.h"
#include "common/process/process_control.h"
#include "common/process/process_create.h"

namespace {

// Starts a shell whose standard output is descriptor output (-1: ours), and returns its pid.
int StartShell(const char* script, int output) {
    const char* const parameters[] = {"/bin/sh", "sh", "-c", script, nullptr};  // the file, then argv
    return ProcessCreate("sh", parameters, nullptr, -1, output, -1, ProcessPriorityNormal, 1);
}

// The exit code of a child, once it has ended; -1 when there was none to wait for.
int ExitCode(int pid) {
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) < 0) return -1;
    return ProcessExitCode(status);
}

// What the child writes into its end of a socket pipe, to the end.
std::string ReadFromChild(const char* script) {
    int pair[2];
    if (SocketPipe(pair, 65536) != 0) return "";
    // The child gets its end as standard output. Both ends are close-on-exec, so it inherits nothing else of the pair.
    const int pid = StartShell(script, pair[1]);
    close(pair[1]);
    std::string text;
    char buffer[256];
    for (ssize_t count; (count = read(pair[0], buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<size_t>(count));
    }
    close(pair[0]);
    Log() << "Example: The child ended with '" << ExitCode(pid) << "' and wrote '" << text.size() << "' bytes.\n";
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    const char* const path = argc > 1 ? argv[1] : "example.log";
    logger_.redirect_ = 1;  // without it the log stays on the standard error
    logger_.OpenLogFile(nullptr, path);
    if (logger_.logName_ == nullptr) {
        LogError() << "Can't write '" << path << "'.\n";
        return 1;
    }

    const int code = ExitCode(StartShell("exit 2", -1));
    Log() << "Example: A child ended with '" << code << "', " << ErrorName(code) << ".\n";
    const std::string text = ReadFromChild("printf hello");
    LogFlush();

    printf("A child ended with %d (%s), another one said '%s'; the log is in %s.\n", code, ErrorName(code),
           text.c_str(), path);
    return code == 2 && text == "hello" ? 0 : 1;
}
