#include "tests/support/snapshot.h"

#include <cstring>
#include <vector>

#include "common/log/logger.h"

namespace {

using Lines = std::vector<std::string>;

constexpr size_t kColumns = 120;  // of a line of the sources

Lines Split(const std::string& text) {
    std::istringstream in(text);
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

int blocks = 0;  // of new[]

class BeforeAndAfter : public testing::EmptyTestEventListener {
    static auto Resources() {
        using Directory = std::filesystem::directory_iterator;
        return blocks + std::distance(Directory("/proc/self/fd"), Directory());
    }
    void OnTestStart(const testing::TestInfo&) override {
        logger_.mode_ = 1;
        before_ = Resources();
    }
    void OnTestEnd(const testing::TestInfo&) override {
        EXPECT_EQ(Resources(), before_) << "Descriptors or new[] blocks were not given back.";
    }
    std::ptrdiff_t before_ = 0;
};
[[maybe_unused]] const bool watched = (testing::UnitTest::GetInstance()->listeners().Append(new BeforeAndAfter), true);

}  // namespace

// Nothing may rely on what is in a new block.
void* operator new[](size_t size) {
    ++blocks;
    return memset(malloc(size), '?', size);
}
void operator delete[](void* block) noexcept {
    if (block != nullptr) --blocks;
    free(block);
}
void operator delete[](void* block, size_t) noexcept { operator delete[](block); }

std::string snapshot::Text(const char* text) {
    return text != nullptr ? testing::PrintToString(std::string(text)) : "null";
}

std::string snapshot::Named(int error) { return error == 0 ? "0" : strerrorname_np(error); }

void snapshot::Compare(const char* file, int line, const std::string& shown) {
    static const std::regex end(R"(\);( *// =.*)?$)"), comment(" *// [=|].*"), code(".*//(?= [=|])|.*;");
    const Lines source = Split(ReadFile(file));
    auto first = source.begin() + line - 1;
    while (!std::regex_search(*first, end)) ++first;  // some compilers give the line where the call begins
    auto last = first + 1;
    while (last != source.end() && std::regex_match(*last, comment)) ++last;

    std::string now, written, opening = "  //";
    Lines lines = {std::regex_replace(*first, std::regex(" *// =.*"), "")};
    for (std::string piece : Split(shown)) {
        if (!now.empty()) piece = " | " + std::regex_replace(piece, std::regex("\t"), "\\t");
        now += piece;
        if (lines.back().size() + opening.size() + piece.size() > kColumns) {
            lines.emplace_back();
            opening = "    //";
        }
        lines.back() += opening + piece;
        opening = "";
    }
    for (auto old = first; old != last; ++old) written += std::regex_replace(*old, code, "");
    if (now == written) return;

    const auto number = first - source.begin() + 1;
    testing::Message patch;
    patch << "--- " << file << "\n+++ " << file << "\n@@ -" << number << "," << last - first << " +" << number << ","
          << lines.size() << " @@";
    for (auto old = first; old != last; ++old) patch << "\n-" << *old;
    for (const std::string& added : lines) patch << "\n+" << added;
    ADD_FAILURE_AT(file, line) << patch;
}
