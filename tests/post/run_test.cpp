// The runs of runs.txt, each a test.
#include "tests/post/installation.h"

namespace {

class RunTest : public testing::Test {
public:
    explicit RunTest(const std::string& row) : row_(row) {}
    void TestBody() override { Installation().Run(row_); }

private:
    const std::string row_;
};

[[maybe_unused]] const bool registered = [] {
    std::ifstream rows(RUNS);
    const std::regex name("(\\w+)\\.(\\w+)(?: \\| .*)?");
    std::smatch match;
    for (std::string row; std::getline(rows, row);) {
        if (!std::regex_match(row, match, name)) continue;
        testing::RegisterTest(match.str(1).c_str(), match.str(2).c_str(), nullptr, nullptr, RUNS, 1,
                              [row]() -> testing::Test* { return new RunTest(row); });
    }
    return true;
}();

}  // namespace
