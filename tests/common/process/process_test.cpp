#include <gtest/gtest.h>
#include <sys/resource.h>

#include <regex>

#include "common/process/process_accounts.h"
#include "common/process/process_control.h"
#include "common/process/process_create.h"
#include "common/process/thread.h"
#include "tests/support/scopes.h"

namespace {

// The exit code of a program and what it wrote.
std::string Ran(std::vector<const char*> words, const char* const* environment = nullptr, int level = 0, int keep = 1) {
    FILE* const out = tmpfile();
    int status = -1;
    words.push_back(nullptr);
    waitpid(ProcessCreate("", words.data(), environment, -1, fileno(out), -1, level, keep), &status, 0);
    const std::string text = ReadFile("/proc/self/fd/" + std::to_string(fileno(out)));
    fclose(out);
    return Shown(ProcessExitCode(status), text);
}

void* Leave(void* argument) { return argument; }

TEST(ProcessCreate, PlacesStreamsAndClosesEachDescriptorOnce) {
    const TempFolder folder;
    const std::string command = "(readlink /proc/$$/fd/* >" + folder.Path("report") + "); :";
    const auto placed = [&](int input, int output, int error) {
        InChild([&] {
            close_range(0, ~0U, 0);
            for (const char* name : {"0", "1", "2", "3", "4"}) open(folder.Path(name).c_str(), O_RDWR | O_CREAT, 0600);
            const char* const words[] = {"/bin/sh", "sh", "-c", command.c_str(), nullptr};
            return waitpid(ProcessCreate("", words, nullptr, input, output, error, 0, 1), nullptr, 0);
        });
        return std::regex_replace(ReadFile(folder.Path("report")), std::regex("[^\n]*/|\n"), "");
    };
    EXPECT_EQ(Shown(placed(-1, -1, -1), placed(0, 1, 2), placed(3, 4, 4), placed(3, -1, -1), placed(-1, 4, 1),
                    placed(-1, -1, 1), placed(3, 3, 3), placed(-1, 0, -1), placed(4, 0, 2), placed(1, -1, 3)),
              "01234 01234 344 3124 0443 01134 3334 00234 4423 1134");
}

TEST(ProcessCreate, RunsTheFirstParameterUnderItsNameAndEnvironment) {
    const TempFolder folder;
    WriteFile(folder.Path("program"), "#!/bin/sh\necho $1 $X\nexit 7\n");
    const Variable path("PATH", (folder.Path("") + ":/usr/bin:/bin").c_str()), x("X", "own");
    const char* const environment[] = {"X=given", nullptr};
    const std::vector<const char*> program = {"program", "name", "a"};
    EXPECT_EQ(Ran(program), "13 ");
    chmod(folder.Path("program").c_str(), 0700);
    EXPECT_EQ(Ran(program) + Ran(program, environment), "7 a own\n2 ");
    EXPECT_EQ(Ran({folder.Path("program").c_str(), "name", "a"}, environment), "7 a given\n");
    EXPECT_EQ(Ran({"sh", "renamed", "-c", "echo $0; kill $$"}), "4 renamed\n");
    for (const auto& [level, nice] : {std::pair{100, 19}, {101, 0}, {0, 0}, {102, -10}, {103, -20}, {5, 5}}) {
        const int status =
            InChild([value = nice] { return setpriority(0, 0, value), 20 - getpriority(PRIO_PROCESS, 0); });
        EXPECT_EQ(Ran({"nice", "nice"}, nullptr, level), Shown(0, 20 - (status >> 8)) + "\n");
        EXPECT_EQ(ProcessPriorityValue(level), nice);
    }
    ASSERT_EQ(seteuid(getuid() == 0 ? 65534 : getuid()), 0);
    EXPECT_EQ(Ran({"id", "id", "-u"}), Shown(0, geteuid()) + "\n");
    EXPECT_EQ(Ran({"id", "id", "-u"}, nullptr, 0, 0), Shown(0, getuid()) + "\n");
    ASSERT_EQ(seteuid(getuid()), 0);
}

TEST(Process, FailuresLeaveTheirNumber) {
    const LogCapture log;
    const char* const few[] = {"/none", nullptr, nullptr};
    const auto create = [](const char* const* words) { return ProcessCreate("", words, nullptr, 0, 1, 2, 0, 1); };
    EXPECT_EQ((Told() << create(few + 1) << errno << create(few) << errno << ProcessExec(nullptr, few, nullptr) << errno
                      << ProcessExec("/none", few, few + 1) << errno),
              "-1 22 -1 22 -1 14 -1 2");
    EXPECT_EQ(InChild([&create]() -> int {
                  // A user that may start nothing.
                  const rlimit none{};
                  setrlimit(RLIMIT_NPROC, &none), setrlimit(RLIMIT_NICE, &none);
                  if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(1);
                  const char* const words[] = {"/bin/true", "true", nullptr};
                  pthread_t handle, id;
                  Told told;
                  told << create(words) << errno << ProcessDetach() << errno
                       << ThreadCreate(&handle, &id, Leave, nullptr) << errno << (handle & id) + 1;
                  told << ProcessSetPriority(103) << errno << ProcessChangePriority(-5) << errno
                       << ProcessChangePriority(1) << ProcessSetUserId(0) << errno;
                  told << ProcessSetGroupId(0) << errno << ProcessIsRunning(1) << errno;
                  _exit(told == "-1 11 -1 11 -1 11 0 -1 13 -1 1 1 -1 1 -1 1 -1 1" ? 0 : 2);
              }),
              0)
        << log.Text();
}

}  // namespace
