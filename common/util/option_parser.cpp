#include "common/util/option_parser.h"

#include <cstdio>
#include <cstring>

int BSDoptind = 1;
int BSDopterr = 1;
int BSDoptopt = 0;
int BSDoptreset = 0;
char* BSDoptarg = nullptr;

namespace {

char empty[] = "";
char* next = empty;  // the next letter inside the current argument

int EndScan() {
    next = empty;
    return -1;
}

int UnknownOption(const char* program, const char* optstring) {
    if (*next == '\0') ++BSDoptind;
    if (BSDopterr != 0 && *optstring != ':') fprintf(stderr, "%s: illegal option -- %c\n", program, BSDoptopt);
    return '?';
}

int MissingArgument(const char* program, const char* optstring) {
    next = empty;
    if (*optstring == ':') return ':';
    if (BSDopterr != 0) fprintf(stderr, "%s: option requires an argument -- %c\n", program, BSDoptopt);
    return '?';
}

}  // namespace

int BSDgetopt(int argc, char* const* argv, const char* optstring) {
    if (optstring == nullptr) return -1;
    bool loneDash = false;
    if (BSDoptreset != 0 || *next == '\0') {
        BSDoptreset = 0;
        if (BSDoptind >= argc) return EndScan();
        next = argv[BSDoptind];
        if (*next != '-') return EndScan();
        ++next;
        if (*next == '-') {
            ++BSDoptind;
            return EndScan();
        }
        loneDash = *next == '\0';
    }
    const auto letter = static_cast<signed char>(loneDash ? '-' : *next++);  // also where char is unsigned
    BSDoptopt = letter;
    if (letter == ':') return UnknownOption(argv[0], optstring);
    const char* known = strchr(optstring, letter);
    // A '-' inside a cluster ends the scan where it stands: BSDoptind still indexes the cluster.
    if (known == nullptr) return letter == '-' ? -1 : UnknownOption(argv[0], optstring);

    if (known[1] != ':') {
        BSDoptarg = nullptr;
        if (*next == '\0') ++BSDoptind;
        return letter;
    }
    if (*next != '\0') {
        BSDoptarg = next;
    } else {
        if (++BSDoptind >= argc) return MissingArgument(argv[0], optstring);
        BSDoptarg = argv[BSDoptind];
    }
    next = empty;
    ++BSDoptind;
    return letter;
}
