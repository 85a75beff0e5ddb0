#include "post/child.h"

#include <sys/wait.h>

#include <cerrno>

#include "common/log/logger.h"
#include "common/process/process_control.h"
#include "common/process/process_create.h"
#include "post/run_error.h"

const ChildKind kServerStop{.starting = "Stopping server",
                            .waiting = "server",
                            .exiting = "Server",
                            .showsVector = false,
                            .action = "shutdown",
                            .notStarted = {"stop server", "AA"},
                            .notWaited = {"wait for server", "AB"},
                            .failed = {"server", "AC"}};
const ChildKind kServerStart{.starting = "Starting server",
                             .waiting = "server",
                             .exiting = "Server",
                             .showsVector = false,
                             .action = "startup",
                             .notStarted = {"start server", "AJ"},
                             .notWaited = {"wait for server", "AK"},
                             .failed = {"server", "AL"}};
const ChildKind kSetupScript{.starting = "Starting server script",
                             .waiting = "server script",
                             .exiting = "Server",
                             .showsVector = false,
                             .action = "update",
                             .notStarted = {"update server", "BJ"},
                             .notWaited = {"wait for server", "BK"},
                             .failed = {"server", "BL"}};
const ChildKind kClient{.starting = "Starting client",
                        .waiting = "client",
                        .exiting = "Client",
                        .showsVector = true,
                        .action = nullptr,
                        .notStarted = {"start client", "AM"},
                        .notWaited = {"wait for client", "AN"},
                        .failed = {"complete update in", "AO"}};
namespace {

// In one piece, so that the line doesn't tear between two processes that share the standard error.
void ShowVector(const char* who, const char* const* slots) {
    std::ostream& out = Log();
    out << "PostMain: " << who << " running with";
    for (; *slots != nullptr; ++slots) out << " '" << *slots << "'";
    out << " 'nil'.\n";
}

}  // namespace

int PostMainStartChild(const ChildKind& kind, const ChildVector& vector) {
    Log() << "PostMain: ACTION! " << kind.starting << " '" << vector.Program() << "'.\n";
    return ProcessCreate(vector.Program(), vector.Get(), nullptr, 0, 1, 2, 0, 1);
}

ChildOutcome PostMainWaitChild(const ChildKind& kind, const ChildVector& vector, int pid) {
    if (kind.showsVector) ShowVector(kind.exiting, vector.Get());
    Log() << "PostMain: Waiting " << kind.waiting << " with pid " << pid << ".\n";
    int status = 0;
    if (waitpid(pid, &status, 0) < 0) return {ChildEnd::NotWaited, errno};
    Log() << "PostMain: " << kind.exiting << " exited with code " << status << ".\n";
    if (status == 0) return {ChildEnd::Exited, 0};
    const int code = ProcessExitCode(status);
    Log() << "PostMain: " << RunErrorIs(code) << ".\n";
    return {ChildEnd::Exited, code};
}

ChildOutcome PostMainRunChild(const ChildKind& kind, const ChildVector& vector) {
    const int pid = PostMainStartChild(kind, vector);
    if (pid < 0) return {ChildEnd::NotStarted, errno};
    return PostMainWaitChild(kind, vector, pid);
}
