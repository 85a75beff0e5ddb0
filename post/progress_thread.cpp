#include "post/progress_thread.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string>

#include "common/io/socket_options.h"
#include "common/io/socket_pipe.h"
#include "common/io/socket_system.h"
#include "common/process/process_control.h"
#include "common/process/thread.h"
#include "post/child.h"
#include "post/exit_path.h"
#include "post/interrupts.h"
#include "post/outcome.h"
#include "post/post_data.h"
#include "post/progress.h"
#include "post/run_log.h"

namespace {

constexpr int kBufferSize = 65536;

// The stage of the progress client. After Failed its thread ends the run.
enum ClientStage { Starting, Running, Succeeded, Failed };
std::atomic<ClientStage> clientStage{Starting};

void SetStage(ClientStage stage) {
    clientStage = stage;
    clientStage.notify_all();
}

ChildVector ProgressVector(const char* client, const char* descriptorText) {
    ChildVector vector(client);
    vector.Add("--post", "progress");
    vector.Add("--fd", descriptorText);
    if (postData_.startup == 0) vector.Add("--norestart");
    if (postData_.interactive == 1) vector.Add("--reopen");
    return vector;
}

}  // namespace

void PostMainStartProgress() {
    if (postData_.client == nullptr) {
        Line() << "PostMain: No client to start.\n";
        return;
    }
    SocketSystemInit();
    int* const pair = progressData_.descriptors;
    if (const int result = SocketPipe(pair, kBufferSize)) {
        Line() << "PostMain: WARNING! Could not create pipe. Error is '" << result << "'.\n";
        SocketSystemCleanup();
        return;
    }
    Line() << "PostMain: Created pipe with 'FD#" << pair[0] << "', and 'FD#" << pair[1] << "'.\n";
    SocketSetNoInherit(pair[0], 0);
    SocketSetNoInherit(pair[1], 1);
    if (ThreadCreate(&progressData_.thread, &progressData_.threadId, PostMainProgressThread, pair) != 1) {
        Line() << "PostMain: ERROR! Failed to create the progress thread.\n";
        SocketSetNoInherit(pair[0], 1);  // the pair stays open: no other child may inherit it
        return;
    }
    Line() << "PostMain: Created the progress thread with id " << progressData_.threadId << ".\n";
    clientStage.wait(Starting);
    if (clientStage == Failed) outcome_.StandAside();
}

void PostMainWaitIfClientHungUp() {
    if (progressData_.thread == ProgressData::kNone || !PostMainHasClientHungUp()) return;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (clientStage == Running && PostMainPendingSignal() == 0 && std::chrono::steady_clock::now() < limit) {
        ProcessSleep(10);
    }
    if (clientStage == Failed) outcome_.StandAside();
}

void* PostMainProgressThread(void* /*argument*/) {
    progressData_.mutex.Lock();
    // The exit path frees the client's path before it joins this thread.
    const std::string client = postData_.client;
    const std::string descriptor = std::to_string(progressData_.descriptors[0]);
    const ChildVector vector = ProgressVector(client.c_str(), descriptor.c_str());
    bool runs = false;
    const int pid = PostMainStartChild(kClient, vector, &runs);
    const int error = errno;
    progressData_.clientPid = pid;
    progressData_.mutex.Unlock();

    PostMainCloseEnd(0);
    if (runs) SetStage(Running);
    const ChildOutcome outcome = pid == -1 ? ChildOutcome{NotStarted, error} : PostMainWaitChild(kClient, vector, pid);
    SetStage(outcome.error == 0 ? Succeeded : Failed);
    PostMainExitIfFailed(kClient, client.c_str(), outcome);
    return nullptr;
}
