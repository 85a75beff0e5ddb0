// Every call that a run makes fails in turn, and the run is killed at each of them; after each the installation and
// what everybody was told are checked. The exceptions carry the names that docs/reliability.md gives them.
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <regex>

#include "tests/support/scopes.h"

namespace {

struct Function {
    std::string name;
    bool endsRun;             // a failure on the way to success makes the run fail
    std::vector<int> errors;  // 0: SIGKILL
};

const Function kFunctions[] = {{"rename", true, {0, EXDEV, EACCES, ENOSPC, EIO, EROFS, ENOENT}},
                               {"unlink", false, {0, EACCES, EIO, EROFS, EPERM}},
                               {"stat", false, {0, EACCES, EIO}},
                               {"fopen", true, {0, EACCES, EMFILE, ENFILE, EIO, ENOMEM, ENOENT, EINTR}},
                               {"fgets", true, {0, EIO, EISDIR, ENOMEM}},
                               {"new", true, {0, ENOMEM}},
                               {"fork", true, {0, EAGAIN, ENOMEM}},
                               {"fork", false, {EINTR}},
                               {"execvp", true, {0, ENOENT, EACCES, ENOMEM, EIO, ETXTBSY, EMFILE}},
                               {"waitpid", true, {0, EINTR, ECHILD}},
                               {"socketpair", false, {0, EMFILE, ENFILE, ENOBUFS, ENOMEM}},
                               {"fcntl", false, {0, EBADF, EPERM}},
                               {"setsockopt", false, {0, ENOMEM, EPERM}},
                               {"pthread_create", false, {0, EAGAIN, EPERM}},
                               {"send", false, {0, EPIPE, ECONNRESET, ENOBUFS, ENOMEM}}};

struct Scenario {
    const char *name, *fails;  // which calls of its children fail
    int code;                  // of a run without a fault
};

constexpr Scenario kScenarios[] = {{"AllGoesWell", "", 0},
                                   {"ScriptFails", "--update--auto", 7},
                                   {"ServerStartFails", "--startup", 7},
                                   {"ClientFailsEarly", "--postprogress--postsuccess early", 7},
                                   {"ClientFailsLate", "--postprogress--postsuccess", 7},
                                   {"LastSourceMissing", "", ENOENT}};

class FaultMatrix : public testing::TestWithParam<std::tuple<Function, Scenario>> {
protected:
    static void TearDownTestSuite() {
        printf("%d faults tried.\n", faults);
        for (const auto& [name, count] : exceptions) printf("exception %s: %d\n", name.c_str(), count);
    }

    // Runs the program in a new installation with three files, a leftover, and one that can't be removed.
    void Play(int call, int error) {
        folder_ = std::make_unique<TempFolder>();
        for (const std::string n : {"0", "1", "2"}) {
            if (n != "2" || scenario_.code != ENOENT) WriteFile(Path("s" + n), "new" + n);
            WriteFile(Path("d" + n), "old" + n);
            WriteFile(Path("list"), Text("list") + "source=s" + n + ",destination=d" + n + "\n");
        }
        WriteFile(Path("d0.temporary"), "leftover");
        for (const char* name : {"d1.temporary", "root/scripts/setup"}) std::filesystem::create_directories(Path(name));
        std::filesystem::create_symlink(FAULT_CHILD, Path("root/scripts/setup/qvserver"));
        WriteFile(Path("counts"), std::string(sizeof counts_, '\0'));
        const std::string fault = function_.name + " " + std::to_string(call) + " " + std::to_string(error);
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        status_ = InChild([&] {
            const Variable chosen("FAULT", fault.c_str()), fails("FAIL", scenario_.fails), root("QV_SYSTEM", "root");
            const Variable shim("LD_PRELOAD", FAULT_SHIM), sanitizer("ASAN_OPTIONS", "verify_asan_link_order=0");
            if (chdir(Path("").c_str()) != 0 || freopen("log", "a", stderr) == nullptr) return 126;
            return execl(FAULT_PROGRAM, "qvpost", "-f", "list", "-s", FAULT_CHILD, "-c", FAULT_CHILD, nullptr);
        });
        while (wait(nullptr) > 0) continue;  // children that nobody waited for come to this process
        log_ = Text("log");
        memcpy(counts_, Text("counts").data(), sizeof counts_);
        killed_ = counts_[2] != 0 && error == 0;
    }

    std::string Path(const std::string& name) const { return folder_->Path(name); }
    bool Exists(const std::string& name) const { return std::filesystem::is_regular_file(Path(name)); }
    std::string Text(const std::string& name) const { return Exists(name) ? ReadFile(Path(name)) : ""; }
    bool Logged(const std::string& text) const { return log_.find(text) != std::string::npos; }
    bool Kept() const { return Logged("updated entries"); }  // the new files stay: the backups are being removed

    std::string Match(const std::string& pattern) const {
        std::smatch match;
        return std::regex_search(log_, match, std::regex(pattern)) ? match[1].str() : "";
    }

    static bool Except(const char* name, bool met) { return met && ++exceptions[name] != 0; }

    void CheckLine(const std::string& n) const {
        const std::string file = "d" + n, source = "s" + n, oldText = "old" + n;
        const std::string newText = n == "2" && scenario_.code == ENOENT ? "" : "new" + n;
        const std::string backup = Match("Renaming '" + file + "' as '(" + file + "[^']*)");
        if (killed_ && !Kept() && Exists(backup)) {  // what docs/reliability.md tells an administrator to do
            if (!Exists(source)) rename(Path(file).c_str(), Path(source).c_str());
            if (!Exists(file)) rename(Path(backup).c_str(), Path(file).c_str());
        }
        const bool missing = !killed_ && Except("restore-failed", Logged("Can't rename '" + backup + "' "));
        const bool left = Kept() && (killed_ || Except("backup-kept", Logged("Can't remove '" + backup)));
        EXPECT_TRUE(missing || left ? !Exists(backup) || Text(backup) == oldText : !Exists(backup));
        EXPECT_EQ(Text(file) + (missing ? Text(backup) : ""), Kept() ? newText : oldText);
        const bool lost = Except("new-file-lost", !Match("Rolling back[^]*(name '" + file + "' in context)").empty());
        EXPECT_EQ(Text(source), Kept() || lost ? "" : newText);
    }

    void CheckWhatClientWasTold() const {
        const std::string code = std::to_string(WEXITSTATUS(status_)), calls = Text("calls"), values = Text("values");
        const auto told = std::regex_replace(calls, std::regex("--(shutdown|startup|update|post progress).*\n"), "");
        const bool reads =
            calls.find("--post progress") != std::string::npos && strstr(scenario_.fails, "early") == nullptr;
        const bool noChannel = Logged("Can't set no-inherit mode");  // its end was closed when it was executed
        const bool valueLost = !reads || Except("value-lost", noChannel || Logged("Could not write to"));
        if (code == "0" || Except("late-client", Kept())) {
            EXPECT_EQ(told, Logged("' 'progress' '") ? "" : "--post success\n");
            EXPECT_TRUE(valueLost || values == "13366100\n") << values;
            return;
        }
        const bool clientFailed = Except("outcome-client", Logged("' context [A"));
        const bool otherValue = clientFailed || Except("client-rejects", Logged("complete update in"));
        EXPECT_TRUE(valueLost || otherValue || values.ends_with("-" + code + "\n")) << values;
        const std::string site = Match(R"(context \['?(\w\w))"), entry = Match(R"((context \['A[GH])[^]*Closing)");
        std::string form = site >= "AA" && site <= "AC"   ? "shutdown"
                           : site >= "AJ" && site <= "AL" ? "startup"
                                                          : "update";
        form = "--post " + form + " --error " + (clientFailed ? "\\d+" : code) +
               (entry.empty() ? "\n" : " --entry d\\d\n");
        EXPECT_TRUE(std::regex_match(told, std::regex(form + (clientFailed ? "|--post success\n|" : "")))) << told;
    }

    void Check(int call, int error) const {
        SCOPED_TRACE(testing::Message() << function_.name << " " << call << " " << error << "\n" << log_);
        EXPECT_EQ(killed_, status_ == SIGKILL);
        for (const char* line : {"0", "1", "2"}) CheckLine(line);
        if (killed_) return;
        const int code = WEXITSTATUS(status_), normal = scenario_.code;
        const bool mustFail = counts_[2] != 0 && function_.endsRun;
        const bool unseen = code == 0 && Except("script-unseen", Logged("qvserver' does not exist"));
        const bool leftoverUnseen = code == EISDIR && function_.name == "stat";  // the one that can't be removed
        EXPECT_TRUE(mustFail ? code == error || (code == normal && code != 0)
                             : code == normal || unseen || leftoverUnseen);
        EXPECT_TRUE(WIFEXITED(status_) && (code == 0 ? Kept() : Logged("Error is " + std::to_string(code) + ", '")));
        CheckWhatClientWasTold();
        if (!Exists("list") || Except("list-untouched", !Logged("Updating files"))) return;
        EXPECT_TRUE(Except("list-kept", function_.name == "unlink"));
    }

    static constexpr size_t kRows[] = {FAULT_ROWS};  // of the errors, first and end
    static inline int faults = 0;
    static inline std::map<std::string, int> exceptions;
    const Function function_ = std::get<0>(GetParam());
    const Scenario scenario_ = std::get<1>(GetParam());
    std::unique_ptr<TempFolder> folder_;
    int status_ = 0, counts_[3] = {};  // forks, calls of the function, faults
    bool killed_ = false;
    std::string log_;
};

TEST_P(FaultMatrix, EveryFileIsWholeAndEverybodyKnows) {
    Play(0, 0);
    Check(0, 0);
    EXPECT_TRUE(counts_[1] > 0 || scenario_.code == ENOENT);
    for (int call = 1, calls = counts_[1]; call <= calls; ++call) {
        for (size_t row = kRows[0]; row < std::min(kRows[1], function_.errors.size()); ++row) {
            Play(call, function_.errors[row]);
            Check(call, function_.errors[row]);
            EXPECT_EQ(counts_[2], 1);
            faults += counts_[2];
        }
    }
}

std::string Name(const testing::TestParamInfo<std::tuple<Function, Scenario>>& test) {
    const auto& [function, scenario] = test.param;
    return function.name + (function.endsRun ? "Ends" : "Passes") + scenario.name;
}
INSTANTIATE_TEST_SUITE_P(Post, FaultMatrix,
                         testing::Combine(testing::ValuesIn(kFunctions), testing::ValuesIn(kScenarios)), Name);

}  // namespace
