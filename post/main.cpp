// qvpost: finishes the installation of an update, after the updater that started it has gone.
#include <fcntl.h>

#include <cerrno>

#include "post/command_line.h"
#include "post/exit_path.h"
#include "post/interrupts.h"
#include "post/outcome.h"
#include "post/phases.h"
#include "post/progress.h"
#include "post/progress_thread.h"
#include "post/run_log.h"
#include "post/update_record.h"

namespace {

// A standard stream that is closed would be given to the first file or socket that is opened, and children would write
// into it. "/" is second best where there is no /dev.
void OccupyStandardStreams() {
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
        if (open("/dev/null", O_RDWR) == -1) open("/", O_RDONLY);
    }
}

// The update is committed: neither a signal nor the client can undo it.
void CommitSuccess() {
    PostMainWaitIfClientHungUp();
    if (!outcome_.Commit()) outcome_.StandAside();
}

struct Phase {
    void (*run)();
    void (*check)();  // returns when the run continues
    int progress[2];  // the values that the client receives after it, 0 for none
};

constexpr Phase kPhases[] = {
    {PostMainFindServer, PostMainExitIfAsked, {}},         {PostMainWaitForUpdater, PostMainExitIfAsked, {}},
    {PostMainStopServer, PostMainExitIfAsked, {}},         {PostMainUpdateFiles, PostMainExitIfAsked, {}},
    {PostMainStartProgress, PostMainExitIfAsked, {1, 33}}, {PostMainRunSetupScript, PostMainExitIfAsked, {66}},
    {PostMainStartServer, CommitSuccess, {100}},
};

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
    PostMainInstallSignalHandlers();
    Line() << "PostMain: Starting post application.\n";
    PostMainReadOptions(argc, argv);
    PostMainHoldRecord();
    for (const Phase& phase : kPhases) {
        phase.run();
        phase.check();
        for (const int value : phase.progress) {
            if (value != 0) PostMainWriteProgress(value);
        }
    }
    PostMainExit();
}
