#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "common/io/file.h"

namespace {

// On systems of 32 bits the usual records can't hold either.
TEST(File, OfMoreThanTwoGigabytesAndDatedAfter2038IsThere) {
    char path[] = "/tmp/qvpost-XXXXXX";
    const int descriptor = mkstemp(path);
    ASSERT_NE(descriptor, -1);
    constexpr int64_t size = int64_t{3} << 30;
    constexpr int64_t time = int64_t{1} << 32;
    const timespec times[] = {{.tv_sec = static_cast<time_t>(time), .tv_nsec = 0},
                              {.tv_sec = static_cast<time_t>(time), .tv_nsec = 0}};
    EXPECT_EQ(ftruncate(descriptor, static_cast<off_t>(size)), 0);
    EXPECT_EQ(futimens(descriptor, times), 0);
    struct stat record = {};
    EXPECT_EQ(FileStat(path, &record), 1);
    EXPECT_EQ(record.st_mtime, time);
    EXPECT_EQ(FileGetSize(nullptr, path), size);
    close(descriptor);
    unlink(path);
}

}  // namespace
