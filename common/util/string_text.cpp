#include "common/util/string_text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/util/string_owned.h"

namespace {
constexpr int kAddressSize = 16;
}

const char* StringStartsWith(const char* text, const char* prefix) {
    return strncmp(text, prefix, strlen(prefix)) == 0 ? text : nullptr;
}

const char* StringEndsWith(const char* text, const char* suffix) {
    const size_t length = strlen(text);
    const size_t suffixLength = strlen(suffix);
    if (suffixLength > length) return nullptr;
    const char* position = text + (length - suffixLength);
    return strcmp(position, suffix) == 0 ? position : nullptr;
}

char* StringCutUnprintable(char* text) {
    if (text == nullptr) return nullptr;
    char* end = text;
    while ((*end >= 0x20 && *end <= 0x7E) || (*end >= 0x1D && *end <= 0x1F)) ++end;
    if (*end != '\0') *end = '\0';  // a text that is all printable may lie in read-only memory
    return text;
}

int StringIsAbsolute(const char* path) { return *path == '/' ? 1 : 0; }

int StringHasDotDot(const char* path) {
    if (strlen(path) < 3) return 0;
    return StringStartsWith(path, "../") != nullptr || strstr(path + 3, "/../") != nullptr ? 1 : 0;
}

int StringScanNumbers(const char* text, int* a, int* b, int* c, int* d) {
    const int error = errno;  // sscanf clears it at the end of the text
    *a = *b = *c = *d = -1;
    const int count = sscanf(text, "%i.%i.%i_%i", a, b, c, d);
    errno = error;
    return count;
}

char* StringAddressText(char* buffer, uint32_t address) {
    unsigned char bytes[4];
    memcpy(bytes, &address, sizeof bytes);
    snprintf(buffer, kAddressSize, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
    return buffer;
}

void StringSetAddress(char** dst, uint32_t address) {
    StringReset(dst);
    StringAllocate(dst, kAddressSize);
    StringAddressText(*dst, address);
}
