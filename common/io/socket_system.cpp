#include "common/io/socket_system.h"

#include <sys/utsname.h>

#include <cstring>

#include "common/log/error_is.h"
#include "common/log/logger.h"

int SocketSystemSupport = -1;

namespace {

enum Level { kLowest, kSunOs, kLinux20, kLinux24, kLinux26, kLinuxOther };

int LinuxLevel(const char* release) {
    constexpr struct {
        const char* start;
        Level level;
    } kReleases[] = {
        {"2.0.", kLinux20}, {"2.2.", kLinux20}, {"2.4.", kLinux24}, {"2.6.", kLinux26}, {"2.8.", kLinux26}};
    for (const auto& row : kReleases) {
        if (strncmp(release, row.start, strlen(row.start)) == 0) return row.level;
    }
    return kLinuxOther;
}

}  // namespace

int SocketSystemInit() {
    if (SocketSystemSupport == -1) SocketSystemProbe();
    return 1;
}

int SocketSystemCleanup() { return 1; }

void SocketSystemProbe() {
    struct utsname system;
    if (uname(&system) == -1) {
        const ErrnoRestorer error;
        Log() << "Socket: WARNING! Failed to get system info. " << ErrorIs{error.number} << ".\n";
        Log() << "Socket: WARNING! Assuming lowest system support.\n";
        LogWarning() << "Failed to get system info. " << ErrorIs{error.number} << ".\n";
        LogWarning() << "Assuming lowest system support.\n";
        SocketSystemSupport = kLowest;
    } else if (strcmp(system.sysname, "Linux") == 0) {
        SocketSystemSupport = LinuxLevel(system.release);
    } else {
        SocketSystemSupport = strcmp(system.sysname, "SunOS") == 0 ? kSunOs : kLowest;
    }
}
