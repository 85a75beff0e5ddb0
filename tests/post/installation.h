// A temporary installation with fake children, and runs of the program over it. In all texts "~" is its root.
#pragma once
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

#include "tests/support/scopes.h"

inline std::string Replace(const std::string& text, const std::string& pattern, const std::string& by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

/// A run with what is expected of it, in the words of runs.txt.
class Scenario {
public:
    Scenario(const std::string& row) {
        for (size_t at = row.find(" | "), end; at < row.size(); at = end) {
            end = std::min(row.find(" | ", at + 3), row.size());
            const size_t blank = std::min(row.find(' ', at + 3), end);
            values_[row.substr(at + 3, blank - at - 3)] = Expanded(row.substr(blank, end - blank).erase(0, 1));
        }
    }
    std::string Get(const std::string& key, const std::string& otherwise = "") const {
        return Has(key) ? values_.at(key) : Expanded(otherwise);
    }
    bool Has(const std::string& key) const { return values_.contains(key); }
    static std::string Expanded(std::string text) {
        std::ifstream rows(RUNS);
        std::smatch match;
        for (std::string row; std::getline(rows, row);) {
            if (!std::regex_match(row, match, std::regex("(\\w+) = (.*)"))) continue;
            const std::string word = isdigit(row[0]) != 0 ? "@" + match.str(1) : "\\b" + match.str(1) + "\\b";
            text = Replace(text, word, match.str(2));
        }
        while (std::regex_search(text, match, std::regex("\\{(\\d+):(.)\\}"))) {
            text = match.prefix().str() + std::string(std::stoul(match[1]), match.str(2)[0]) + match.suffix().str();
        }
        return text;
    }

private:
    std::map<std::string, std::string> values_;
};

class Installation {
public:
    Installation() { EXPECT_EQ(system(Rooted(Scenario::Expanded("p=" FAKE_CHILD "; INSTALL")).c_str()), 0); }
    ~Installation() { EXPECT_EQ(system(Rooted("chmod -R u+rwX ~").c_str()), 0); }

    std::string At(const std::string& name) const { return root_ + "/" + name; }
    std::string Rooted(const std::string& text) const { return Replace(text, "~", root_); }
    int Pid() const { return pid_; }

    /// Starts the program, as the last step of a process in which before was called.
    void Start(const Scenario& run, void (*before)() = nullptr) {
        const uid_t user = 20000 + static_cast<uid_t>(getpid()) % 40000;  // its processes are counted alone
        const bool drop = run.Has("user") && getuid() == 0;
        const std::string prepare = "cd ~ && printf '" + run.Get("list", "@1@2") + "' >list && " +
                                    (drop ? "chown -R " + std::to_string(user) + " .. && " : "") + run.Get("with", ":");
        ASSERT_EQ(system(Rooted(prepare).c_str()), 0);
        std::istringstream options(Rooted("qvpost " + run.Get("opts", "S C F")));
        const std::vector<std::string> words{std::istream_iterator<std::string>(options), {}};
        std::vector<char*> arguments;
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        pid_ = fork();
        if (pid_ != 0) return;
        const std::string root = Rooted(run.Get("root", "~"));
        root == "none" ? unsetenv("QV_SYSTEM") : setenv("QV_SYSTEM", root.c_str(), 1);
        setenv("FAKE_FOLDER", root_.c_str(), 1);
        setenv("FAKE_PLAN", run.Get("plan").c_str(), 1);
        for (int signal = 1; signal < NSIG; ++signal) ::signal(signal, SIG_DFL);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        const int program = open(QVPOST, O_RDONLY);
        dup2(open(At("log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666), 2);
        close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
        if (drop && setuid(user) != 0) _exit(126);
        alarm(300);
        // The search for leaks needs a process of its own; a child's fresh mutex still counts as the locked one.
        if (run.Has("user")) setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
        setenv("TSAN_OPTIONS", "report_destroy_locked=0", 0);
        for (const auto& [key, resource] : {std::pair{"limit", RLIMIT_NOFILE}, {"tasks", RLIMIT_NPROC}}) {
            const rlim_t most = std::stoul(run.Get(key, "1024"));
            const rlimit limit{most, most};
            if (run.Has(key)) setrlimit(resource, &limit);
        }
        if (before != nullptr) before();
        fexecve(program, arguments.data(), environ);
        _exit(127);
    }

    int Wait() const {
        int status = -1;
        waitpid(pid_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    void AwaitLog(const std::string& text) const {
        while (Log().find(text) == std::string::npos) usleep(1000);
    }

    /// Waits for the program and compares.
    void Check(const Scenario& run) const {
        const int exit = std::stoi(run.Get("exit", "0"));
        const std::string options = run.Get("opts", "S C F");
        EXPECT_EQ(Wait(), exit);
        const std::string calls =
            " or " + run.Get("calls", exit == 0 && options.find("bin/server") != std::string::npos ? "ALL" : "") +
            " or ";
        EXPECT_NE(calls.find(" or " + Record("calls") + " or "), std::string::npos) << Record("calls");
        EXPECT_EQ(Record("progress"),
                  run.Get("sees", exit == 0 && options.find("bin/client") != std::string::npos ? "SEEN" : ""));
        EXPECT_EQ(Files(), run.Get("files", exit == 0 ? "NEW" : "OLD"));
        const std::string whole = Log();
        std::istringstream texts(Replace(run.Get("log"), " \\+ ", "\n"));
        for (std::string text; std::getline(texts, text);) EXPECT_NE(whole.find(text), std::string::npos) << text;
        if (testing::Test::HasFailure()) std::cout << whole;
    }
    void Run(const Scenario& run, void (*before)() = nullptr) {
        Start(run, before);
        Check(run);
    }

    /// The log with "@ " for the prefix of the main thread, "& " of another, and "#" for ids and descriptors.
    std::string Log() const {
        std::string text = Replace(ReadFile(At("log")), R"((^|\n)(\d+) \2 \d\d:\d\d:\d\d \d{3}\.\d{3} )", "$1@ ");
        text = Replace(text, R"((^|\n)\d+ \d+ \d\d:\d\d:\d\d \d{3}\.\d{3} )", "$1& ");
        return Replace(Replace(text, R"((with pid |FD#|thread with id |'--fd' ')\d+)", "$1#"), root_, "~");
    }

    /// What the children wrote down.
    std::string Record(const char* name) const { return Replace(Replace(ReadFile(At(name)), "; $", ";"), root_, "~"); }

    std::string Files() const {
        std::set<std::string> files;
        if (std::filesystem::exists(At("list"))) files.insert("list");
        for (const std::string folder : {"app/", "new/"}) {
            for (const auto& entry : std::filesystem::directory_iterator(At(folder))) {
                files.insert(folder + entry.path().filename().string() +
                             (entry.is_directory() ? "/" : "=" + ReadFile(entry.path())));
            }
        }
        std::string text;
        for (const std::string& file : files) text += (text.empty() ? "" : " ") + file;
        return text;
    }

private:
    TempFolder folder_;
    const std::string root_ = folder_.Path("root");
    pid_t pid_ = -1;
};
