#include "list/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "list/folder.h"
#include "list/message.h"

WholeFile::WholeFile(const std::string& path) : path_(path), part_(path + ".part") {
    buffer_.reserve(2 * kFull);
    unlink(part_.c_str());
    descriptor_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ == -1) Fail("write", part_);
}

WholeFile::~WholeFile() {
    if (descriptor_ == -1) return;
    close(descriptor_);
    unlink(part_.c_str());
}

bool WholeFile::Fail(const char* what, const std::string& name) {
    const int error = errno;
    if (!failed_) RefuseFile(what, name.c_str(), error);
    failed_ = true;
    return false;
}

void WholeFile::Write() {
    std::string_view left = buffer_;
    while (!failed_ && !left.empty()) {
        const ssize_t written = write(descriptor_, left.data(), left.size());
        if (written > 0) {
            left.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EINTR) {
            Fail("write", part_);
        }
    }
    buffer_.clear();
}

bool WholeFile::Finish() {
    Write();
    if (failed_) return false;
    if (fsync(descriptor_) != 0) return Fail("flush", part_);
    if (rename(part_.c_str(), path_.c_str()) != 0) return Fail("write", path_);
    close(descriptor_);
    descriptor_ = -1;
    errno = FolderFlushOf(path_);
    return errno == 0 || Fail("flush the folder of", path_);
}
