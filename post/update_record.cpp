#include "post/update_record.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "post/post_data.h"

namespace {

std::string path;
int held = -1;

}  // namespace

void PostMainHoldRecord() {
    if (postData_.updateFile == nullptr) return;
    path = postData_.updateFile;
    path += kUpdateRecordSuffix;
    const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor == -1) return;
    struct stat record;
    if (fstat(descriptor, &record) == 0 && S_ISREG(record.st_mode) && flock(descriptor, LOCK_SH | LOCK_NB) == 0) {
        held = descriptor;
    } else {
        close(descriptor);
    }
}

bool PostMainHasRecord() { return held != -1; }

void PostMainRemoveRecord() {
    struct stat record, named;
    if (fstat(held, &record) == 0 && lstat(path.c_str(), &named) == 0 && record.st_dev == named.st_dev &&
        record.st_ino == named.st_ino) {
        unlink(path.c_str());
    }
}
