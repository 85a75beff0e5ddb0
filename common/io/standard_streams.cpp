#include "common/io/standard_streams.h"

#include <fcntl.h>

#include <cerrno>

void SanitizeStandardStreams() {
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
        if (open("/dev/null", O_RDWR) == -1) open("/", O_RDONLY);
    }
}
