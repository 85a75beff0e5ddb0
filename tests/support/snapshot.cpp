#include "tests/support/snapshot.h"

#include <cstring>
#include <vector>

#include "common/log/logger.h"

namespace {

using Lines = std::vector<std::string>;

Lines Split(const std::string& text) {
    std::istringstream in(text);
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

class BeforeAndAfter : public testing::EmptyTestEventListener {
    using Entries = std::filesystem::directory_iterator;
    static std::ptrdiff_t Descriptors() { return std::distance(Entries("/proc/self/fd"), Entries()); }
    void OnTestStart(const testing::TestInfo&) override { logger_.mode_ = 1; }
    void OnTestEnd(const testing::TestInfo&) override { EXPECT_EQ(Descriptors(), before_) << "Not all are closed."; }
    const std::ptrdiff_t before_ = Descriptors();
};
[[maybe_unused]] const bool watched = (testing::UnitTest::GetInstance()->listeners().Append(new BeforeAndAfter), true);

}  // namespace

void snapshot::Compare(const char* file, int line, const std::string& shown) {
    static const std::regex end(R"(\);( *// =.*)?$)"), comment(" *// [=|].*"), code(".*//(?= [=|])|.*;");
    const Lines source = Split(ReadFile(file));
    auto first = source.begin() + line - 1;
    while (!std::regex_search(*first, end)) ++first;  // some compilers give the line where the call begins
    auto last = first + 1;
    while (std::regex_match(*last, comment)) ++last;

    std::string now, written, opening = "  //";
    Lines lines = {std::regex_replace(*first, std::regex(" *// =.*"), "")};
    for (std::string piece : Split(shown)) {
        if (!now.empty()) piece = " | " + piece;
        now += piece;
        const bool fits = lines.back().size() + opening.size() + piece.size() <= 120;  // columns of the sources
        fits ? lines.back() += opening + piece : lines.emplace_back("    //" + piece);
        opening = "";
    }
    for (auto old = first; old != last; ++old) written += std::regex_replace(*old, code, "");
    if (now == written) return;
    testing::Message patch;
    patch << "--- " << file << "\n+++ " << file << "\n@@ -" << first - source.begin() + 1 << "," << last - first
          << " +1," << lines.size() << " @@";
    for (auto old = first; old != last; ++old) patch << "\n-" << *old;
    for (const std::string& added : lines) patch << "\n+" << added;
    ADD_FAILURE_AT(file, line) << patch;
}
