// Phases of a run without a module of their own. Each returns when the run continues; otherwise it takes the exit path.
#pragma once

/// Without -s, selects the server under QV_SYSTEM if it exists. That server is neither stopped nor started; it only
/// decides which setup script runs.
void PostMainFindServer();

/// Waits without a time limit until the process of -p has ended.
void PostMainWaitForUpdater();

/// With -s, runs the server program with "--shutdown" or "--startup".
void PostMainStopServer();
void PostMainStartServer();

/// Applies the update list.
void PostMainUpdateFiles();

/// Runs the setup script of the installation, if there is one.
void PostMainRunSetupScript();
