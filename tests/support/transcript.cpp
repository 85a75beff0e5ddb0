#include "tests/support/transcript.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

Lines Split(const std::string& text) {
    std::istringstream in(text);
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::string Printable(const std::string& text) {
    std::string printable;
    for (const char byte : text) {
        char escape[5];
        snprintf(escape, sizeof escape, byte < ' ' || byte > '~' ? "\\x%02X" : "%c", byte & 0xFF);
        printable += escape;
    }
    return printable;
}

int blocks = 0;  // of new[]

class Resources : public testing::EmptyTestEventListener {
    static auto Count() {
        using Folder = std::filesystem::directory_iterator;
        return blocks + std::distance(Folder("/proc/self/fd"), Folder());
    }
    void OnTestStart(const testing::TestInfo&) override { count_ = Count(); }
    void OnTestEnd(const testing::TestInfo&) override {
        EXPECT_EQ(Count(), count_) << "Descriptors or new[] blocks were not given back.";
    }
    std::ptrdiff_t count_ = 0;
};
[[maybe_unused]] const bool watched = (testing::UnitTest::GetInstance()->listeners().Append(new Resources), true);

}  // namespace

// Nothing may rely on what is in a new block, or write behind it. Its size stands in front of it.
constexpr size_t kFront = alignof(std::max_align_t);
constexpr char kBehind[] = "????";

void* operator new[](size_t size) {
    ++blocks;
    auto* const block = static_cast<char*>(malloc(kFront + size + sizeof kBehind));
    memset(block + kFront, '?', size);
    strcpy(block + kFront + size, kBehind);
    return memcpy(block, &size, sizeof size), block + kFront;
}
void operator delete[](void* given) noexcept {
    if (given == nullptr) return;
    --blocks;
    char* const block = static_cast<char*>(given) - kFront;
    size_t size;
    memcpy(&size, block, sizeof size);
    EXPECT_STREQ(block + kFront + size, kBehind) << "Written behind a new[] block of " << size << " bytes.";
    free(block);
}
void operator delete[](void* block, size_t) noexcept { operator delete[](block); }

std::string transcript::Text(const char* text) { return text != nullptr ? '"' + Printable(text) + '"' : "null"; }

std::string transcript::Named(int error) { return error == 0 ? "0" : strerrorname_np(error); }

void transcript::Compare(const char* file, int line, const std::string& shown) {
    static const std::regex end(R"(\);( *// =.*)?$)"), comment("( *)// [=|].*"), code(".*; *(?=// =)|^ *");
    const Lines source = Split(ReadFile(file));
    auto first = source.begin() + line - 1;
    while (!std::regex_search(*first, end)) ++first;  // a compiler may tell where the call begins
    auto last = first + 1;
    while (last != source.end() && std::regex_match(*last, comment)) ++last;

    Lines lines = Split(shown), written;
    for (size_t i = 1; i < lines.size(); ++i) lines[i] = "// | " + Printable(lines[i]);
    for (auto old = first; old != last; ++old) written.push_back(std::regex_replace(*old, code, ""));
    if (lines == written) return;

    const std::string call = std::regex_replace(*first, std::regex(" *// =.*"), "");
    testing::Message patch;
    patch << "--- " << file << "\n+++ " << file << "\n@@ -" << first - source.begin() + 1 << "," << last - first << " +"
          << first - source.begin() + 1 << "," << lines.size() << " @@\n";
    for (auto old = first; old != last; ++old) patch << "-" << *old << "\n";
    patch << "+" << call << "  " << lines[0];
    for (size_t i = 1; i < lines.size(); ++i) patch << "\n+    " << lines[i];
    ADD_FAILURE_AT(file, line) << patch;
}
