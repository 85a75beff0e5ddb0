#include "post/child.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "common/process/process_control.h"
#include "common/process/process_create.h"
#include "post/run_log.h"

// exit_path.cpp writes the lines of the failures, in another form for the client that it starts itself.
const ChildKind kServerStop{.starting = "Stopping server",
                            .waiting = "server",
                            .subject = "Server",
                            .showsVector = false,
                            .action = "shutdown",
                            .failures = {{"stop server", "AA"}, {"wait for server", "AB"}, {"server", "AC"}}};
const ChildKind kServerStart{.starting = "Starting server",
                             .waiting = "server",
                             .subject = "Server",
                             .showsVector = false,
                             .action = "startup",
                             .failures = {{"start server", "AJ"}, {"wait for server", "AK"}, {"server", "AL"}}};
const ChildKind kSetupScript{.starting = "Starting server script",
                             .waiting = "server script",
                             .subject = "Server",
                             .showsVector = false,
                             .action = "update",
                             .failures = {{"update server", "BJ"}, {"wait for server", "BK"}, {"server", "BL"}}};
const ChildKind kClient{.starting = "Starting client",
                        .waiting = "client",
                        .subject = "Client",
                        .showsVector = true,
                        .action = nullptr,
                        .failures = {{"start client", "AM"}, {"wait for client", "AN"}, {"complete update in", "AO"}}};

namespace {

// One line object, so that another process on the same standard error cannot split the line.
void ShowVector(const char* who, const char* const* slots) {
    Line line;
    line << "PostMain: " << who << " running with";
    for (; *slots != nullptr; ++slots) line << " '" << *slots << "'";
    line << " 'nil'.\n";
}

int Start(const ChildKind& kind, const ChildVector& vector, int report) {
    Line() << "PostMain: ACTION! " << kind.starting << " '" << vector.Program() << "'.\n";
    return ProcessCreateReporting(vector.Program(), vector.Get(), nullptr, 0, 1, 2, 0, 1, report);
}

}  // namespace

int PostMainStartChild(const ChildKind& kind, const ChildVector& vector) { return Start(kind, vector, -1); }

int PostMainStartChild(const ChildKind& kind, const ChildVector& vector, bool* runs) {
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) report[0] = report[1] = -1;  // read(2) fails on -1
    const int pid = Start(kind, vector, report[1]);
    const ErrnoRestorer error;
    close(report[1]);
    int number;
    // The handlers have SA_RESTART: no signal interrupts the read.
    *runs = pid != -1 && read(report[0], &number, sizeof number) <= 0;
    close(report[0]);
    return pid;
}

ChildOutcome PostMainWaitChild(const ChildKind& kind, const ChildVector& vector, int pid) {
    if (kind.showsVector) ShowVector(kind.subject, vector.Get());
    Line() << "PostMain: Waiting " << kind.waiting << " with pid " << pid << ".\n";
    int status = 0;
    if (waitpid(pid, &status, 0) == -1) return {NotWaited, errno};
    Line() << "PostMain: " << kind.subject << " exited with code " << status << ".\n";
    if (status == 0) return {Exited, 0};
    const int code = ProcessExitCode(status);
    Line() << "PostMain: " << RunErrorIs(code) << ".\n";
    return {Exited, code};
}

ChildOutcome PostMainRunChild(const ChildKind& kind, const ChildVector& vector) {
    const int pid = PostMainStartChild(kind, vector);
    if (pid == -1) return {NotStarted, errno};
    return PostMainWaitChild(kind, vector, pid);
}
