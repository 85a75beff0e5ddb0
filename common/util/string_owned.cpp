#include "common/util/string_owned.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace {

constexpr int kLineSize = 1024;

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

// Frees the old text last: the new one may have been made from it.
void Replace(char** dst, char* text) {
    delete[] * dst;
    *dst = text;
}

}  // namespace

char* StringCopy(const char* src) {
    if (src == nullptr) return nullptr;
    const size_t size = strlen(src) + 1;
    return static_cast<char*>(memcpy(new char[size], src, size));
}

void StringSet(char** dst, const char* src) {
    if (*dst != src) Replace(dst, StringCopy(src));
}

void StringInit(char** dst, const char* src) { *dst = StringCopy(src); }

void StringReset(char** dst) { Replace(dst, nullptr); }

void StringAdd(char** dst, const char* a, const char* b, const char* c, const char* d) {
    const char* const parts[] = {*dst, a, b, c, d};
    size_t total = 0;
    for (const char* part : parts) total += strlen(OrEmpty(part));
    if (total == 0) return;
    char* text = new char[total + 1];
    char* end = text;
    for (const char* part : parts) end = stpcpy(end, OrEmpty(part));
    Replace(dst, text);
}

void StringAddBytes(char** dst, const char* bytes, int count) {
    if (bytes == nullptr || count <= 0) return;
    const std::string_view old = OrEmpty(*dst);
    const auto added = static_cast<size_t>(count);
    char* text = new char[old.size() + added + 1];
    char* const end = text + old.copy(text, old.size());
    memcpy(end, bytes, added);
    end[added] = '\0';
    Replace(dst, text);
}

void StringAllocate(char** dst, int size) {
    *dst = new char[static_cast<size_t>(std::max(size, 1))];
    **dst = '\0';
}

void StringAllocateLine(char** dst) { StringAllocate(dst, kLineSize); }

void StringInitLine(char** dst, const char* src) { *dst = StringCopyPart(OrEmpty(src), kLineSize - 1); }

void StringInitPart(char** dst, const char* src, int count) { *dst = StringCopyPart(src, count); }

char* StringCopyPart(const char* src, int count) {
    if (src == nullptr) return nullptr;
    const auto limit = static_cast<size_t>(std::max(count, 0));
    const size_t length = strnlen(src, limit);
    char* text = new char[limit + 1];
    memcpy(text, src, length);
    memset(text + length, 0, limit + 1 - length);
    return text;
}

int StringReplaceAll(char** text, const char* pattern, const char* replacement) {
    const size_t patternLength = strlen(pattern);
    const size_t replacementLength = strlen(replacement);
    int count = 0;
    for (const char* hit = strstr(*text, pattern); hit != nullptr; hit = strstr(hit + patternLength, pattern)) ++count;
    if (count == 0) return 0;

    // Subtracts before it adds: the sum never falls below 0, whichever of the two texts is longer.
    const auto hits = static_cast<size_t>(count);
    char* result = new char[strlen(*text) - patternLength * hits + replacementLength * hits + 1];
    char* end = result;
    const char* rest = *text;
    while (const char* hit = strstr(rest, pattern)) {
        end = std::copy(rest, hit, end);
        end = std::copy_n(replacement, replacementLength, end);
        rest = hit + patternLength;
    }
    memcpy(end, rest, strlen(rest) + 1);
    Replace(text, result);
    return count;
}
