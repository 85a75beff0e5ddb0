#include "list/message.h"

#include <string_view>

const char kListVersion[] = QVPOST_VERSION;

std::ostream& operator<<(std::ostream& out, Quoted quoted) {
    out << '\'';
    std::string_view left = quoted.name;
    const auto isControl = [](char byte) { return (byte >= 0 && byte < ' ') || byte == 0x7F; };
    while (!left.empty()) {
        size_t plain = 0;
        while (plain < left.size() && !isControl(left[plain])) ++plain;
        out << left.substr(0, plain);
        left.remove_prefix(plain);
        if (left.empty()) break;
        const int byte = left[0];
        out << '\\' << byte / 64 << byte / 8 % 8 << byte % 8;
        left.remove_prefix(1);
    }
    return out << '\'';
}
