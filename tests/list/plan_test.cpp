// What a recovery decides by, as a table. A line of an update is three letters, what its source, its destination and
// its backup names hold: o the old file, n the new one, b both in one, x another, - nothing.
#include "list/plan.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

constexpr FileIdentity kOld{1, FileIdentity::kBorn, 10, 5}, kNew{2, 100, 20, 5};

FileInfo Info(const FileIdentity& file) {
    FileInfo info{};
    info.stx_ino = file.inode;
    info.stx_size = static_cast<uint64_t>(file.size);
    info.stx_mtime.tv_sec = info.stx_btime.tv_sec = file.seconds;
    info.stx_mtime.tv_nsec = info.stx_btime.tv_nsec = file.nanoseconds;
    return info;
}

LineState State(const std::string& letters) {
    const Update update{"", "", kOld, letters.find('b') != std::string::npos ? kOld : kNew, 1};
    LineFiles files;
    for (size_t name = 0; name < 3; ++name) {
        const char holds = letters[name];
        const FileIdentity file = holds == 'x' ? FileIdentity{3, 0, 0, 0} : holds == 'n' ? kNew : kOld;
        if (holds != '-') files[name] = Info(file);
    }
    return IdentifyFiles(update, files);
}

std::string Decided(const std::string& lines) {
    static constexpr const char* kOutcomes[] = {"not begun", "old", "new", "unknown", "unsettled"};
    static constexpr const char* kStepWords[] = {"n", "o", "-backup", "-source"};
    std::vector<LineState> states;
    std::istringstream words(lines);
    for (std::string letters; words >> letters;) states.push_back(State(letters));
    const Outcome outcome = Decide(states);
    std::string text = kOutcomes[static_cast<int>(outcome)];
    for (const LineState& state : states) {
        const uint8_t steps = StepsFor(outcome, state);
        if (steps != 0) text += " ";
        for (unsigned i = 0; i < 4; ++i) text += (steps >> i & 1U) != 0 ? kStepWords[i] : "";
    }
    return text;
}

TEST(ListPlan, DecidesByWhatTheNamesHold) {
    std::istringstream table(
        R"(no- no-: not begun; nox: not begun; bb-: not begun; -o-: old; xo-: old; noo: old -backup; n-o: old o;
        --o: old o; -no no-: old no; nno: old o; -xo: old no; -bb: old no; bbb: old -backup; -no -no: old no no;
        -no -n-: new -backup; xno -n-: new -backup; nno -n-: new -backup-source; nn- -n-: new -source;
        -bb -n-: new -backup; -nx: new; -x- -n-: new; -x- -o-: old; -x- -x-: unknown; -n- -o-: unsettled;
        -x- -o- -n-: unsettled; -xx -n-: unsettled; xx- -n-: unsettled; nx- no-: not begun; nx- -no: old no; nxx no-: unsettled; n-- no-: unsettled;
        --- -n-: unsettled; xno no-: unsettled; nxo no-: unsettled; -x- -no: unsettled; o--: unsettled;
        -n- no-: unsettled;)");
    for (std::string lines, expected;
         std::getline(table >> std::ws, lines, ':') && std::getline(table, expected, ';');) {
        EXPECT_EQ(" " + Decided(lines), expected) << lines;
    }
}

TEST(ListPlan, KnowsAFileByAllOfItsIdentity) {
    const Update update{"", "", kOld, kNew, 1};
    for (const FileIdentity& other :
         {FileIdentity{3, 100, 20, 5}, {2, 101, 20, 5}, {2, 100, 21, 5}, {2, 100, 20, 6}, {1, 100, 10, 6}}) {
        EXPECT_EQ(IdentifyFiles(update, {Info(other)}).source, Holds::Other);
    }
}

}  // namespace
