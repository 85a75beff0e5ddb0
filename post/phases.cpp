#include "post/phases.h"

#include <cstdio>
#include <cstdlib>

#include "common/io/file.h"
#include "common/process/process_control.h"
#include "common/util/string_owned.h"
#include "post/child.h"
#include "post/exit_path.h"
#include "post/post_data.h"
#include "post/run_log.h"
#include "post/update_files.h"

namespace {

// A path below the root of the installation, cut at 1022 characters.
class SystemPath {
public:
    SystemPath(const char* root, const char* below) { snprintf(path_, sizeof path_, "%s/%s", root, below); }
    const char* Get() const { return path_; }
    bool Exists() const { return FileIsEntity(nullptr, path_) == 1; }

private:
    char path_[1022 + 1];
};

// The root of the installation; null, with a warning, when there is none.
const char* SystemRoot() {
    const char* root = getenv("QV_SYSTEM");
    if (root != nullptr && *root != '\0') return root;
    Line() << "PostMain: WARNING! No environment for QV_SYSTEM.\n";
    return nullptr;
}

void RunServer(const ChildKind& kind, const char* argument, const char* noServer) {
    const char* server = postData_.server;
    if (server == nullptr || postData_.serverGiven != 1) {
        Line() << noServer;
        return;
    }
    ChildVector vector(server);
    vector.Add(argument);
    PostMainExitIfFailed(kind, server, PostMainRunChild(kind, vector));
}

}  // namespace

void PostMainFindServer() {
    if (postData_.server != nullptr) return;
    const char* root = SystemRoot();
    if (root == nullptr) return;
    const SystemPath path(root, "bin/qvserver");
    if (path.Exists()) StringSet(&postData_.server, path.Get());
}

void PostMainWaitForUpdater() {
    constexpr uint32_t kPoll = 200;  // milliseconds
    const int pid = postData_.parentPid;
    if (pid < 0) {
        Line() << "PostMain: No parent pid.\n";
        return;
    }
    Line() << "PostMain: ACTION! Waiting for pid '" << pid << "' to continue.\n";
    // Pid 0 stands for the own process group, which a probe would find for ever.
    while (pid != 0 && ProcessIsRunning(pid) == 1) {
        PostMainExitIfAsked();
        ProcessSleep(kPoll);
        Line() << "PostMain: Still waiting for pid '" << pid << "' to continue.\n";
    }
    Line() << "PostMain: Process '" << pid << "' has exited.\n";
}

void PostMainStopServer() { RunServer(kServerStop, "--shutdown", "PostMain: No server to stop.\n"); }

void PostMainStartServer() { RunServer(kServerStart, "--startup", "PostMain: No server to start.\n"); }

void PostMainUpdateFiles() {
    const int error = PostMainReplaceFiles();
    if (error != 0) PostMainExitFailed("update", error);
}

void PostMainRunSetupScript() {
    const char* root = SystemRoot();
    if (root == nullptr) return;
    const SystemPath path(root, postData_.server != nullptr ? "scripts/setup/qvserver" : "scripts/setup/qvplayer");
    if (!path.Exists()) {
        Line() << "PostMain: WARNING! File '" << path.Get() << "' does not exist.\n";
        return;
    }
    ChildVector vector(path.Get());
    vector.Add("--update", "--auto");
    PostMainExitIfFailed(kSetupScript, path.Get(), PostMainRunChild(kSetupScript, vector));
}
