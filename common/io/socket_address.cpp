#include "common/io/socket_address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/io/socket_report.h"
#include "common/util/string_owned.h"
#include "common/util/string_text.h"

namespace {

const char* ResolverText(int* resolverError, int error) {
    switch (*resolverError) {
        case HOST_NOT_FOUND:
            return "The specified host is unknown";
        case TRY_AGAIN:
            return "Temporary name server error";
        case NO_RECOVERY:
            return "Non-recoverable name server error";
        case NO_DATA:
            return "Host does not have an IP address";
        default:
            break;
    }
    if (error != EMFILE) return "Unknown";
    *resolverError = h_errno = EMFILE;
    return StringOrNil(ErrorString(EMFILE));
}

void ReportUnresolved(const char* name, int resolverError, int error) {
    const char* text = ResolverText(&resolverError, error);
    SocketReport("Failed to resolve address '", name, "'");
    SocketReport("Error is ", resolverError, " '", text, "'");
}

struct EndAddress {
    struct sockaddr_storage storage = {};
    socklen_t length = sizeof storage;

    const sockaddr* Address() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

// The address of one end, with the length that getnameinfo expects; false after the failure lines.
bool GetEnd(int descriptor, int local, const char* what, EndAddress* end) {
    auto* const address = reinterpret_cast<sockaddr*>(&end->storage);
    const int result =
        local != 0 ? getsockname(descriptor, address, &end->length) : getpeername(descriptor, address, &end->length);
    if (result == -1) {
        LogFailedCall(kSocketFailure, "Can't get the ", local != 0 ? "local" : "remote", what, descriptor);
        return false;
    }
    if (end->storage.ss_family == AF_INET6) end->length = sizeof(sockaddr_in6);
    return true;
}

}  // namespace

uint32_t SocketResolveAddress(const char* name) {
    if (name == nullptr || *name == '\0') {
        errno = EADDRNOTAVAIL;
        return 0;
    }
    if (const hostent* host = gethostbyname(name)) {
        uint32_t address;
        memcpy(&address, host->h_addr_list[0], sizeof address);
        return address;
    }
    const int resolverError = h_errno;
    const int error = errno;
    const in_addr_t address = inet_addr(name);
    if (address != INADDR_NONE) return address;
    ReportUnresolved(name, resolverError, error);
    errno = EADDRNOTAVAIL;
    return 0;
}

const char* SocketResolveName(const char* text) {
    const in_addr_t address = text != nullptr ? inet_addr(text) : INADDR_NONE;
    if (address == INADDR_NONE) {
        SocketReport("Wrong IPv4 dotted-decimal address '", StringOrNil(text), "'");
        return nullptr;
    }
    if (const hostent* host = gethostbyaddr(&address, sizeof address, AF_INET)) return host->h_name;
    ReportUnresolved(text, h_errno, errno);
    return nullptr;
}

const char* SocketResolveText(const char* name) { return SocketFormatAddress(SocketResolveAddress(name)); }

const char* SocketFormatAddress(uint32_t address) {
    static char buffer[16];
    return StringAddressText(buffer, address);
}

const char* SocketAddressToText(uint32_t address) { return inet_ntoa(in_addr{address}); }

int SocketIsNumericAddress(const char* text) {
    if (text == nullptr || *text == '\0') return -1;
    return text[strspn(text, "0123456789.:")] == '\0' ? 1 : 0;
}

void SocketUnmapAddress(struct sockaddr_storage* address, socklen_t* length) {
    if (address->ss_family != AF_INET6) return;
    sockaddr_in6 mapped;
    memcpy(&mapped, address, sizeof mapped);
    if (!IN6_IS_ADDR_V4MAPPED(&mapped.sin6_addr)) return;
    sockaddr_in plain = {};
    plain.sin_family = AF_INET;
    plain.sin_port = mapped.sin6_port;
    memcpy(&plain.sin_addr, &mapped.sin6_addr.s6_addr[12], sizeof plain.sin_addr);
    memcpy(address, &plain, sizeof plain);
    *length = sizeof plain;
}

int SocketGetPort(int descriptor, int local) {
    EndAddress end;
    if (!GetEnd(descriptor, local, " host for FD#", &end)) return -1;
    char service[32];
    if (getnameinfo(end.Address(), end.length, nullptr, 0, service, sizeof service, NI_NUMERICSERV) != 0) {
        LogFailedCall(kSocketFailure, "Can't get the network port");
        return -1;
    }
    return static_cast<int>(strtol(service, nullptr, 10));
}

char* SocketGetHost(int descriptor, int local) {
    EndAddress end;
    if (!GetEnd(descriptor, local, " host info for FD#", &end)) return nullptr;
    SocketUnmapAddress(&end.storage, &end.length);
    char host[NI_MAXHOST];
    if (getnameinfo(end.Address(), end.length, host, sizeof host, nullptr, 0, NI_NUMERICHOST) != 0) {
        LogFailedCall(kSocketFailure, "Can't get the host name info for FD#", descriptor);
        return nullptr;
    }
    return StringCopy(host);
}

int SocketGetNetworkInfo(int descriptor, char** localHost, int* localPort, char** remoteHost, int* remotePort) {
    const auto hostOrUnknown = [descriptor](int local) {
        char* host = SocketGetHost(descriptor, local);
        return host != nullptr ? host : StringCopy("UNKNOWN");
    };
    *localHost = hostOrUnknown(1);
    *remoteHost = hostOrUnknown(0);
    *localPort = SocketGetPort(descriptor, 1);
    *remotePort = SocketGetPort(descriptor, 0);
    if (*localPort != -1 && *remotePort != -1) return 1;
    SocketReport("Failed to collect network information for FD#", descriptor);
    return -1;
}
