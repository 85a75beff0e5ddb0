// qvpost: finishes the installation of an update, after the updater that started it has gone.
#include <fcntl.h>

#include <cerrno>

#include "post/command_line.h"
#include "post/exit_path.h"
#include "post/interrupts.h"
#include "post/phases.h"
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

// From here on the update stands, whatever asks for its end or becomes of a client that is still there.
void SettleSuccess() {
    PostMainHearClient();
    outcome_.SettleSuccess();
}

struct Phase {
    void (*run)();
    void (*then)();  // whether the run goes on; neither returns otherwise
    int told[2];     // the values that the client is told after it, 0 for none
};

constexpr Phase kPhases[] = {
    {PostMainFindServer, PostMainExitIfAsked, {}},         {PostMainWaitForUpdater, PostMainExitIfAsked, {}},
    {PostMainStopServer, PostMainExitIfAsked, {}},         {PostMainUpdateFiles, PostMainExitIfAsked, {}},
    {PostMainStartProgress, PostMainExitIfAsked, {1, 33}}, {PostMainRunSetupScript, PostMainExitIfAsked, {66}},
    {PostMainStartServer, SettleSuccess, {100}},
};

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
    PostMainTameSignals();
    Line() << "PostMain: Starting post application.\n";
    PostMainReadOptions(argc, argv);
    for (const Phase& phase : kPhases) {
        phase.run();
        phase.then();
        for (const int value : phase.told) {
            if (value != 0) PostMainWriteProgress(value);
        }
    }
    PostMainExit();
}
