// The two records of a run, which everything here works on.
#pragma once
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <deque>

#include "common/util/mutex.h"
#include "post/update_line.h"

/// What the run was asked to do and how far it got. The texts are owned strings. It belongs to the main thread, except:
/// - error and action are written by Outcome::Fail (outcome.h) under its guard, on either thread;
/// - the progress thread reads client, startup and interactive before it lets the main thread go on;
/// - a progress thread that ends the run owns all of it, from when the main thread rests.
struct PostData {
    char* client{};                    ///< -c
    char* server{};                    ///< -s, or found under QV_SYSTEM
    char* updateFile{};                ///< -f
    char* version{};                   ///< -v, only logged
    int32_t parentPid = -1;            ///< -p: the process to wait for, -1 for none
    int32_t serverGiven{};             ///< 1 with -s: only then the server is stopped and started
    int32_t startup = 1;               ///< 0 with -r: the client is given "--norestart"
    int32_t interactive{};             ///< 1 with -i: the progress client is given "--reopen"
    std::deque<UpdateEntry*> updates;  ///< the applied lines in the order of their application; owned
    char* action{};                    ///< what failed: "init", "shutdown", "update" or "startup"
    char* entry{};                     ///< the destination whose rename failed
    std::atomic<int32_t> error{};      ///< error code of the run, its exit code; 0 is success
};
static_assert(sizeof(std::atomic<int32_t>) == sizeof(int32_t));

/// The progress channel to the client.
struct ProgressData {
    /// -1 until the progress client was started; kept after its end.
    int32_t clientPid GUARDED_BY(mutex) = -1;
    int32_t descriptors[2] = {kClosed, kClosed};  ///< the client's end, the application's end
    pthread_t thread = kNone;                     ///< the handle to join, kNone when there is nothing to join
    pthread_t threadId{};                         ///< its number in log lines
    Mutex mutex;                                  ///< guards clientPid and the start of the progress client

    static constexpr int32_t kClosed = -1;
    static constexpr auto kNone = static_cast<pthread_t>(-1);
};

extern PostData postData_;
extern ProgressData progressData_;
