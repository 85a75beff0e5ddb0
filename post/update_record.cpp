#include "post/update_record.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "common/process/process_control.h"
#include "post/interrupts.h"
#include "post/post_data.h"

namespace {

std::string path;
int held = -1;

// Whether the name of the record still is this open file.
bool IsNamed(int descriptor) {
    struct stat record, named;
    return fstat(descriptor, &record) == 0 && lstat(path.c_str(), &named) == 0 && record.st_dev == named.st_dev &&
           record.st_ino == named.st_ino;
}

// Whether another attempt may succeed.
bool TryToHold() {
    const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor == -1) return false;
    struct stat record;
    const bool isRegular = fstat(descriptor, &record) == 0 && S_ISREG(record.st_mode);
    if (isRegular && flock(descriptor, LOCK_SH | LOCK_NB) == 0 && IsNamed(descriptor)) {
        held = descriptor;
        return false;
    }
    close(descriptor);
    return isRegular;
}

}  // namespace

void PostMainHoldRecord() {
    constexpr int kAttempts = 50, kPause = 100;  // milliseconds
    if (postData_.updateFile == nullptr) return;
    path = postData_.updateFile;
    path += kUpdateRecordSuffix;
    for (int attempt = 0; TryToHold() && attempt < kAttempts && PostMainPendingSignal() == 0; ++attempt) {
        ProcessSleep(kPause);
    }
}

bool PostMainHasRecord() { return held != -1; }

void PostMainRemoveRecord() {
    if (IsNamed(held)) unlink(path.c_str());
}
