#include "list/message.h"

#include <ostream>
#include <string_view>

const char kListVersion[] = QVPOST_VERSION;

std::string& operator+=(std::string& text, Quoted quoted) {
    text += '\'';
    std::string_view left = quoted.name;
    const auto isControl = [](char byte) { return (byte >= 0 && byte < ' ') || byte == 0x7F; };
    while (!left.empty()) {
        size_t plain = 0;
        while (plain < left.size() && !isControl(left[plain])) ++plain;
        text += left.substr(0, plain);
        left.remove_prefix(plain);
        if (left.empty()) break;
        const int byte = left[0];
        text += '\\';
        for (const int digit : {byte / 64, byte / 8 % 8, byte % 8}) text += static_cast<char>('0' + digit);
        left.remove_prefix(1);
    }
    return text += '\'';
}

std::ostream& operator<<(std::ostream& out, Quoted quoted) {
    std::string text;
    return out << (text += quoted);
}
