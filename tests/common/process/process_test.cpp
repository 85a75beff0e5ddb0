#include <gtest/gtest.h>
#include <sys/resource.h>

#include <regex>

#include "common/log/logger.h"
#include "common/process/process_accounts.h"
#include "common/process/process_control.h"
#include "common/process/process_create.h"
#include "common/process/signals.h"
#include "common/process/thread.h"
#include "common/util/string_owned.h"
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

void* Leave(void* argument) { ThreadExit(argument); }

void* Wait(void*) {
    for (;;) ProcessSleep(1000);
}

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

TEST(Process, FailuresAreLoggedAndLeaveTheirNumber) {
    const LogCapture log;
    const char* const few[] = {"/none", nullptr, nullptr};
    const auto create = [](const char* const* words) { return ProcessCreate("", words, nullptr, 0, 1, 2, 0, 1); };
    LogPlain() << (Told() << create(few + 1) << errno << create(few) << errno << ProcessExec(nullptr, few, nullptr)
                          << errno << ProcessExec("/none", few, few + 1) << errno)
               << "\n";
    EXPECT_EQ(InChild([&create]() -> int {
                  // A user that may start nothing.
                  const rlimit none{};
                  setrlimit(RLIMIT_NPROC, &none), setrlimit(RLIMIT_NICE, &none);
                  if (getuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(1);
                  const char* const words[] = {"/bin/true", "true", nullptr};
                  pthread_t handle, id;
                  Told told;
                  told << create(words) << errno << ProcessDetach() << errno
                       << ThreadCreate(&handle, &id, Wait, nullptr) << errno << (handle & id) + 1;
                  told << ProcessSetPriority(103) << errno << ProcessChangePriority(-5) << errno
                       << ProcessChangePriority(1) << ProcessSetUserId(0) << errno;
                  LogPlain() << (told << ProcessSetGroupId(0) << errno << ProcessIsRunning(1) << errno) << "\n";
                  LogFlush();
                  _exit(0);
              }),
              0);
    const std::string warning = "@ Process: WARNING! ", error = "@ Process: ERROR! ", is = "Error is ",
                      few2 = warning + "Invalid number of parameters in process creation.\n",
                      again = is + "11 'Resource temporarily unavailable'.\n",
                      refused = error + is + "1 'Operation not permitted'.\n",
                      denied = error + is + "1, Operation not permitted.\n";
    EXPECT_EQ(log.Text(),
              few2 + few2 + warning + "Function execvp() for 'nil' failed.\n" + warning + is + "14 'Bad address'.\n" +
                  warning + "Function execve() for '/none' failed.\n" + warning + is +
                  "2 'No such file or directory'.\n-1 22 -1 22 -1 14 -1 2\n" + warning + "Function fork() failed.\n" +
                  warning + again + warning + "Detach from terminal failed.\n@ Provess: WARNING! " + again +
                  "@ Thread: ERROR! Thread creation failed. " + again + error + "Can't set priority to -20.\n" + error +
                  is + "13 'Permission denied'.\n" + error + "Can't change priority by -5.\n" + refused + error +
                  "Can't set user id to 0.\n" + denied + error + "Can't set group id to 0.\n" + denied + error +
                  "Can't signal the pid 1.\n" + refused + "-1 11 -1 11 -1 11 0 -1 13 -1 1 1 -1 1 -1 1 -1 1\n");
}

TEST(Thread, IsJoinedStoppedAndRefused) {
    pthread_t handle, id;
    void* result = nullptr;
    EXPECT_EQ((Told() << ThreadCreate(&handle, &id, Leave, &id) << handle - id << ThreadJoin(handle, &result)
                      << (result == &id)),
              "1 0 1 1");
    const LogCapture log;
    EXPECT_EQ((Told() << ThreadCreate(&handle, &id, Wait, nullptr) << ThreadCheck(handle) << ThreadSignal(handle, 0)
                      << ThreadSignal(handle, 99) << errno << ThreadJoin(pthread_self(), &result) << errno
                      << ThreadStop(handle)),
              "1 1 1 -1 22 -1 35 1");
    EXPECT_EQ((Told() << ThreadYield() << ThreadSetCancelAsynchronous() << ThreadSetCancelType(0)
                      << ThreadSetCancelType(1) << ThreadSetCancelType(2)),
              "0 0 0 0 22");
    EXPECT_EQ(
        log.Text(),
        "@ Thread: ERROR! Thread signal failed. Error is 22 'Invalid argument'.\n@ Thread: ERROR! Thread join failed. "
        "Error is 35 'Resource deadlock avoided'.\n@ Thread: ERROR! Invalid thread cancelability type '2'.\n");
}

TEST(Signal, CallsWorkAndLogTheirFailures) {
    sigset_t set;
    sigemptyset(&set), sigaddset(&set, SIGUSR1);
    struct sigaction action;
    itimerval timer;
    SignalClearAction(&action), SignalClearTimer(&timer);
    const LogCapture log;
    EXPECT_EQ((Told() << SignalSetAction(SIGKILL, &action, nullptr) << errno << SignalSetTimer(99, &timer, nullptr)
                      << errno << (SignalSetHandler(SIGKILL, SIG_IGN) == nullptr) << errno << (errno = 0)
                      << SignalMask(99, &set, nullptr) << errno),
              "-1 22 -1 22 1 22 0 22 0");
    std::string lines, names;
    for (const std::string call :
         {"Call to sigaction", "Call to setitimer", "Call to signal", "Function pthread_sigmask"})
        lines += "@ Signal: ERROR! " + call + " failed. Error is 22 'Invalid argument'.\n";
    SignalDumpSet(&set, nullptr, nullptr);
    for (int signal = -1; signal < 70; ++signal) {
        const std::string name = SignalName(signal), number = std::to_string(signal);
        if (name == "None") continue;
        lines += "@ Signal/Signal: " + number + ", " + name + (signal == SIGUSR1 ? "\tYes\n" : "\tNo\n");
        names += number + name.substr(3) + " ";
    }
    EXPECT_EQ(log.Text(), lines);
    EXPECT_EQ(names,
              "1HUP 2INT 3QUIT 4ILL 6ABRT 8FPE 9KILL 10USR1 11SEGV 12USR2 13PIPE 14ALRM 15TERM 17CHLD 18CONT 19STOP "
              "20TSTP 21TTIN 22TTOU 26VTALRM 28WINCH 29POLL ");
}

TEST(Accounts, AreFoundByNameAndId) {
    char* name = StringCopy("old");
    EXPECT_EQ((Told() << ProcessUserIdByName("root") << ProcessGroupIdByName("root") << ProcessUserNameById(&name, 0)
                      << name),
              "0 0 1 root");
    const LogCapture log;
    constexpr unsigned kNobody = 4000000000;
    EXPECT_EQ((Told() << ProcessUserIdByName("no one") + 1 << errno << ProcessGroupIdByName(nullptr) + 1 << errno
                      << ProcessUserNameById(&name, kNobody) << errno << name),
              "0 2 0 2 -1 2 root");
    EXPECT_EQ((Told() << ProcessGroupNameById(&name, kNobody) << ProcessGroupNameById(&name, 0) << name), "-1 1 root");
    StringReset(&name);
    std::string lines;
    for (const std::string key : {"user 'no one'", "group 'nil'", "user id '-294967296'", "group id '-294967296'"})
        lines += "@ Process: ERROR! Can't get information for " + key +
                 ".\n@ Process: ERROR! Error is 2, No such file or directory.\n";
    EXPECT_EQ(log.Text(), lines);
}

}  // namespace
