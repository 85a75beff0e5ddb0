// qvpost: finishes the installation of an update, after the updater that started it has ended.
#include "common/io/standard_streams.h"
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
    SanitizeStandardStreams();
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
