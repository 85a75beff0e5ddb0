// qvpost: finishes the installation of an update, after the updater that started it has gone.
#include <fcntl.h>

#include <cerrno>

#include "post/command_line.h"
#include "post/exit_path.h"
#include "post/interrupts.h"
#include "post/phases.h"
#include "post/post_data.h"
#include "post/progress.h"
#include "post/progress_thread.h"
#include "post/run_log.h"

namespace {

// A standard stream that is closed would be given to the first file or socket that is opened, and children would write
// into it. "/" is second best where there is no /dev.
void OccupyStandardStreams() {
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
        if (open("/dev/null", O_RDWR) == -1) open("/", O_RDONLY);
    }
}

void StartProgress() {
    PostMainStartProgress();
    PostMainWriteProgress(1);
    PostMainWriteProgress(33);
}

void RunSetupScript() {
    PostMainRunSetupScript();
    PostMainBoundary();
    PostMainWriteProgress(66);
}

void StartServer() {
    PostMainStartServer();
    PostMainClaimExit();
    PostMainWriteProgress(100);
}

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
    PostMainTameSignals();
    Line() << "PostMain: Starting post application.\n";
    PostMainSetStartValues();
    PostMainReadOptions(argc, argv);
    for (const auto phase : {PostMainFindServer, PostMainWaitForUpdater, PostMainStopServer, PostMainUpdateFiles,
                             StartProgress, RunSetupScript, StartServer}) {
        PostMainBoundary();
        phase();
    }
    PostMainExit();
}
