// The phases of a run that are no module of their own. Each returns when the run goes on, and takes the exit path
// otherwise.
#pragma once

/// Without -s, takes the server under QV_SYSTEM when there is one. It isn't stopped or started; it decides which setup
/// script runs.
void PostMainFindServer();

/// Waits, without a limit, until the process of -p has gone.
void PostMainWaitForUpdater();

/// With -s: run the server program with "--shutdown" or "--startup".
void PostMainStopServer();
void PostMainStartServer();

/// Applies the update list.
void PostMainUpdateFiles();

/// Runs the setup script of the installation, if there is one.
void PostMainRunSetupScript();
