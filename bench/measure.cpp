#include "bench/measure.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream file(path);
    if (!(file << text).flush()) Fail("can't write " + path);
}

double Seconds(const struct timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    std::string text;
    std::getline(file, text);
    return text;
}

}  // namespace

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

double Median(std::vector<double> values) {
    if (values.empty()) Fail("median of nothing");
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void Fail(const std::string& what) {
    printf("error\t%s\n", what.c_str());
    fflush(stdout);
    _exit(1);
}

Run RunProgram(const std::vector<std::string>& command, const std::string& errorPath) {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, errorPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);

    const double start = Now();
    pid_t pid;
    if (posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        Fail("can't run " + command[0]);
    }
    int status;
    struct rusage usage;
    if (wait4(pid, &status, 0, &usage) != pid || status != 0) Fail(command[0] + " failed, see " + errorPath);
    const double seconds = Now() - start;
    posix_spawn_file_actions_destroy(&actions);
    return {seconds, Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss};
}

Tree::Tree(const std::string& dir, int lines, int filesOfFolder)
    : dir_(dir), list_(dir + "/update.list"), lines_(lines), filesOfFolder_(filesOfFolder) {
    for (int index = 0; index < lines_; ++index) {
        if (index % filesOfFolder_ == 0) {
            for (const std::string& path : {Installed(index), Unpacked(index)}) {
                std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            }
        }
        WriteFile(Installed(index), "0");
    }
}

Tree::~Tree() {
    for (const char* side : {"/installed", "/unpacked"}) std::filesystem::remove_all(dir_ + side);
}

void Tree::Unpack() {
    const std::string text = std::to_string(++unpacks_);
    std::ofstream list(list_);
    for (int index = 0; index < lines_; ++index) {
        WriteFile(Unpacked(index), text);
        list << "source=" << Unpacked(index) << ",destination=" << Installed(index) << '\n';
    }
    if (!list.flush()) Fail("can't write " + list_);
}

void Tree::Check() const {
    for (const int index : {0, lines_ - 1}) {
        if (ReadFile(Installed(index)) != std::to_string(unpacks_)) Fail(Installed(index) + " was not replaced");
        if (access((Installed(index) + ".temporary").c_str(), F_OK) == 0) Fail(Installed(index) + ": backup left");
    }
    if (access(list_.c_str(), F_OK) == 0) Fail(list_ + " was left");
}

std::string Tree::Path(const char* side, int index) const {
    char name[64];
    snprintf(name, sizeof name, "/%s/share/part%04d/file%02d.dat", side, index / filesOfFolder_,
             index % filesOfFolder_);
    return dir_ + name;
}
