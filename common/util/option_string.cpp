#include "common/util/option_string.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "common/util/string_owned.h"

namespace {

constexpr uint32_t kDefaultLimit = 1024;
constexpr uint32_t kNoLimit = UINT32_MAX;

constexpr char kPlain[] = {',', '=', ' ', '\0'};
constexpr char kEscaped[] = {30, 29, 31, '\0'};

void Replace(char* text, const char* from, const char* to) {
    while ((text = strpbrk(text, from)) != nullptr) {
        *text = to[strchr(from, *text) - from];
        ++text;
    }
}

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

}  // namespace

void OptionEscape(char* text) { Replace(text, kPlain, kEscaped); }

void OptionUnescape(char* text) { Replace(text, kEscaped, kPlain); }

int OptionCheckValue(const char* value, uint32_t limit) {
    if (value == nullptr || strpbrk(value, "=,") != nullptr) return -1;
    if (limit == kNoLimit) return 1;
    return strlen(value) < (limit == 0 ? kDefaultLimit : limit) ? 1 : -1;
}

int OptionCheckPair(const char* key, const char* value, uint32_t limit) {
    return OptionCheckValue(key, 0) == 1 && OptionCheckValue(value, limit) == 1 ? 1 : -1;
}

int OptionParseNumber(const char* text) {
    if (*text < '0' || *text > '9') return -1;
    return static_cast<int>(std::min<long>(strtol(text, nullptr, 10), INT_MAX));
}

int OptionMatchName(const char* text, const char* name) {
    for (; *name != '\0'; ++text, ++name) {
        if (*name == ',' || *text != *name) return 0;
    }
    return *text == '\0' || *text == ',' ? 1 : 0;
}

int OptionReplacePrefix(char** string, const char* prefix, const char* replacement) {
    return IsEmpty(prefix) || IsEmpty(replacement) ? 0 : StringReplacePrefix(string, prefix, replacement);
}

int StringReplacePrefix(char** string, const char* prefix, const char* replacement) {
    const size_t length = strlen(prefix);
    if (strncmp(*string, prefix, length) != 0) return 0;
    char* text = StringCopy(replacement);
    StringAdd(&text, *string + length, nullptr, nullptr, nullptr);
    StringReset(string);
    *string = text;
    return 1;
}
