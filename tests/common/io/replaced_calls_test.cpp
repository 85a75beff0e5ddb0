#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/utsname.h>

#include "common/io/socket_address.h"
#include "common/io/socket_system.h"
#include "tests/support/scopes.h"

namespace {
const char *systemName = nullptr, *systemRelease = "";
int resolverError = 0;
}  // namespace

extern "C" {
int uname(utsname* system) noexcept {
    if (systemName == nullptr) return errno = EFAULT, -1;
    strcpy(system->sysname, systemName);
    strcpy(system->release, systemRelease);
    return 0;
}
hostent* gethostbyname(const char*) { return h_errno = resolverError, nullptr; }
hostent* gethostbyaddr(const void*, socklen_t, int) { return gethostbyname(nullptr); }
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
    systemName = "Linux";
    EXPECT_EQ(Shown(SocketSystemInit(), SocketSystemSupport), "1 0");
    const std::string why = "Failed to get system info. Error is 14 'Bad address'.\n",
                      what = "Assuming lowest system support.\n";
    EXPECT_EQ(log.Text(),
              "@ Socket: WARNING! " + why + "@ Socket: WARNING! " + what + "Warning: " + why + "Warning: " + what);
}

TEST(SocketAddress, ResolverErrorsAreNamed) {
    for (const auto& [number, error, text] : {std::tuple{1, 0, "1 'The specified host is unknown'"},
                                              {2, 0, "2 'Temporary name server error'"},
                                              {3, 0, "3 'Non-recoverable name server error'"},
                                              {4, 0, "4 'Host does not have an IP address'"},
                                              {-1, 0, "-1 'Unknown'"},
                                              {-1, EMFILE, "24 'Too many open files'"}}) {
        const LogCapture log;
        const std::string what = "Failed to resolve address 'no.host'.\n", is = std::string("Error is ") + text + ".\n";
        resolverError = number, errno = error;
        EXPECT_STREQ(SocketResolveText("no.host"), "0.0.0.0");
        EXPECT_EQ(errno, EADDRNOTAVAIL);
        EXPECT_EQ(log.Text(),
                  "@ Socket: ERROR! " + what + "Error: " + what + "@ Socket: ERROR! " + is + "Error: " + is);
        errno = error;
        EXPECT_EQ(SocketResolveName("192.0.2.7"), nullptr);
        EXPECT_EQ(errno, error);
        EXPECT_TRUE(log.Text().ends_with("address '192.0.2.7'.\n@ Socket: ERROR! " + is + "Error: " + is));
    }
    EXPECT_EQ(SocketResolveAddress("10.1.2.3"), htonl(0x0A010203));
}
