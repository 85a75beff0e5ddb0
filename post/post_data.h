// The two records of a run that all modules share.
#pragma once
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <deque>

#include "common/util/mutex.h"
#include "post/update_line.h"

/// The options of the run and its progress. The texts are owned strings. The main thread owns the record, except:
/// - Outcome::Fail (outcome.h) writes error and action under its mutex, on either thread;
/// - the progress thread reads client, startup and interactive before the main thread continues;
/// - a progress thread that ends the run owns the whole record once the main thread has parked.
struct PostData {
    char* client{};                    ///< -c
    char* server{};                    ///< -s, or found under QV_SYSTEM
    char* updateFile{};                ///< -f
    char* version{};                   ///< -v, only logged
    int32_t parentPid = -1;            ///< -p: the process to wait for, or -1
    int32_t serverGiven{};             ///< 1 with -s: the server is stopped and started
    int32_t startup = 1;               ///< 0 with -r: the client receives "--norestart"
    int32_t interactive{};             ///< 1 with -i: the progress client receives "--reopen"
    std::deque<UpdateEntry*> updates;  ///< the applied lines in the order of their application; owned
    char* action{};                    ///< what failed: "init", "shutdown", "update" or "startup"
    char* entry{};                     ///< the destination whose rename failed
    std::atomic<int32_t> error{};      ///< error code of the run, its exit code; 0 is success
};
static_assert(sizeof(std::atomic<int32_t>) == sizeof(int32_t));

/// The progress channel to the client.
struct ProgressData {
    /// -1 until the progress client is started; kept after its end.
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
