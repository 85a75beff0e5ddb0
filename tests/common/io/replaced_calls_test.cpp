#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "common/io/socket_system.h"
#include "tests/support/scopes.h"

namespace {
const char *systemName = nullptr, *systemRelease = "";
}  // namespace

extern "C" int uname(utsname* system) noexcept {
    if (systemName == nullptr) return errno = EFAULT, -1;
    strcpy(system->sysname, systemName);
    strcpy(system->release, systemRelease);
    return 0;
}

TEST(SocketSystem, LevelFollowsNameAndRelease) {
    EXPECT_EQ(SocketSystemSupport, -1);
    const auto level = [](const char* name, const char* release) {
        systemName = name, systemRelease = release;
        SocketSystemProbe();
        return SocketSystemSupport;
    };
    const LogCapture log;
    EXPECT_EQ(
        Shown(level("Linux", "2.0.1"), level("Linux", "2.2."), level("Linux", "2.4.37"), level("Linux", "2.6.32-5-686"),
              level("Linux", "2.8.0"), level("Linux", "3.2.0"), level("Linux", "2.1.100"), level("Linux", "2.5.75"),
              level("Linux", "2.6"), level("SunOS", "5"), level("linux", "2.6.1"), level("Darwin", "2.6.1")),
        "2 2 3 4 4 5 5 5 5 1 0 0");
    EXPECT_EQ(log.Text(), "");
    systemName = nullptr;
    SocketSystemProbe();
    EXPECT_EQ(SocketSystemSupport, 0);
}
