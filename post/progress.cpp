#include "post/progress.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "common/io/socket_system.h"
#include "common/process/thread.h"
#include "post/post_data.h"
#include "post/run_log.h"

namespace {

int JoinThread() {
    if (progressData_.thread == ProgressData::kNone || pthread_equal(progressData_.thread, pthread_self()) != 0)
        return 1;
    Line() << "PostMain: Going to join the progress thread with id " << progressData_.threadId << ".\n";
    void* dropped;
    if (ThreadJoin(progressData_.thread, &dropped) != 1) {
        Line() << "PostMain: ERROR! Failed to join the progress thread with id " << progressData_.threadId << ".\n";
        return -1;
    }
    progressData_.thread = ProgressData::kNone;
    progressData_.threadId = 0;
    return 1;
}

}  // namespace

void PostMainWriteProgress(int value) {
    const int descriptor = progressData_.descriptors[1];
    if (postData_.client == nullptr || descriptor == ProgressData::kClosed) return;
    const std::string text = std::to_string(value);
    const ssize_t sent = send(descriptor, text.c_str(), text.size() + 1, 0);
    if (sent == -1) {
        const int error = errno;
        Line() << "PostMain: ERROR! Could not write to 'FD#" << descriptor << "'. "
               << ErrorIs{error, ErrorForm::BothQuoted} << ".\n";
        return;
    }
    Line() << "PostMain: Wrote '" << text << "' to 'FD#" << descriptor << "', with '" << sent << "' bytes.\n";
}

bool PostMainHasClientHungUp() {
    pollfd end = {};
    end.fd = progressData_.descriptors[1];
    return poll(&end, 1, 0) == 1;  // poll ignores -1
}

void PostMainCloseEnd(int end) {
    close(progressData_.descriptors[end]);
    progressData_.descriptors[end] = ProgressData::kClosed;
}

int PostMainJoinProgress() {
    // A client that reads to the end of the channel ends only after this; it may have closed its own end before.
    // Without a channel none of these calls has an effect.
    shutdown(progressData_.descriptors[1], SHUT_WR);
    const int joined = JoinThread();
    SocketSystemCleanup();
    PostMainCloseEnd(1);
    return joined;
}
