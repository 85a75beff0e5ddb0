#include <thread>

#include "common/io/file.h"
#include "common/log/logger.h"
#include "common/process/process_accounts.h"
#include "common/process/process_control.h"
#include "common/process/process_create.h"
#include "common/process/signals.h"
#include "common/process/thread.h"
#include "tests/common/failing_calls.h"

// Calls that leave any number in errno: successful look-ups, and calls around the one that is shown.
static auto AnyErrno(auto result) { return errno = snapshot::kUnchanged, result; }

// The files 0 to 4, open under these numbers here, that a child has open, in the order of its descriptors.
static std::string Placed(int input, int output, int error) {
    InChild([&] {
        close_range(0, ~0U, 0);
        for (const char* name : {"0", "1", "2", "3", "4"}) open(name, O_RDWR | O_CREAT, 0600);
        const char* const words[] = {"/bin/sh", "sh", "-c", "(readlink /proc/$$/fd/* >report); :", nullptr};
        return waitpid(ProcessCreate("", words, nullptr, input, output, error, 0, 1), nullptr, 0);
    });
    return AnyErrno(std::regex_replace(ReadFile("report"), std::regex("[^\n]*/|\n"), ""));
}

TEST(ProcessCreate, PlacesStreamsAndClosesEachDescriptorOnce) {
    const TemporaryDirectory directory;
    SHOW(Placed(-1, -1, -1));  // = "01234"
    SHOW(Placed(3, 4, 4));     // = "344"
    SHOW(Placed(2, -1, -1));   // = "21234"
    SHOW(Placed(1, -1, 3));    // = "1134"
}

// The exit code of a program, the number that its child reported, and what it wrote.
static std::string Ran(std::vector<const char*> words, const char* const* environment, int level = 0, int keep = 1) {
    FILE* const out = tmpfile();
    int status = -1, reported = -1, ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    words.push_back(nullptr);
    const int pid = ProcessCreateReporting("", words.data(), environment, -1, fileno(out), -1, level, keep, ends[1]);
    waitpid(pid, &status, 0);
    close(ends[1]);
    EXPECT_GE(read(ends[0], &reported, sizeof reported), 0);
    close(ends[0]);
    const std::string text = ReadFile("/proc/self/fd/" + std::to_string(fileno(out)));
    fclose(out);
    return AnyErrno(std::to_string(ProcessExitCode(status)) + " " + std::to_string(reported) + " " + text);
}

TEST(ProcessCreate, RunsTheFirstParameterUnderItsNameAndEnvironment) {
    setenv("X", "own", 1);
    const char* const environment[] = {"X=given", nullptr};
    SHOW(Ran({"sh", "renamed", "-c", "echo $0 $X; exit 7"}, nullptr));    // = "7 -1 renamed own\n"
    SHOW(Ran({"/bin/sh", "sh", "-c", "echo $X; kill $$"}, environment));  // = "4 -1 given\n"
    SHOW((Failing("write", EINTR), Ran({"/", "root"}, nullptr)));         // = "13 13 "
    SHOW(Ran({"sh", "sh"}, environment));                                 // = "2 2 "
    SHOW(Ran({"nice", "nice"}, nullptr, ProcessPriorityLowest));          // = "0 -1 19\n"
    ASSERT_EQ(setegid(getuid() == 0 ? 65534 : getgid()) + seteuid(getuid() == 0 ? 65534 : getuid()), 0);
    EXPECT_EQ(Ran({"id", "id", "-u"}, nullptr), "0 -1 " + std::to_string(geteuid()) + "\n");
    const std::string real = "0 -1 " + std::to_string(getuid()) + " " + std::to_string(getgid()) + "\n";
    EXPECT_EQ(Ran({"sh", "sh", "-c", "echo `id -u` `id -g`"}, nullptr, 0, 0), real);
    ASSERT_EQ(seteuid(getuid()) + setegid(getgid()), 0);
}

TEST(ProcessCreate, FailuresLeaveTheirNumber) {
    const char* const missing[] = {"/none", "none", nullptr};
    const auto create = [](const char* const* words) { return ProcessCreate("", words, nullptr, -1, -1, -1, 0, 1); };
    SHOW(create(missing + 1));  // = -1 EINVAL | @ Process: WARNING! Invalid number of parameters in process creation.
    SHOW((Failing("fork", EAGAIN), create(missing)));  // = -1 EAGAIN | @ Process: WARNING! Function fork() failed.
    // | @ Process: WARNING! Error is 11 'Resource temporarily unavailable'.
    SHOW((Failing("fork", EINTR), waitpid(create(missing), nullptr, 0)) > 0);  // = 1 EINTR
    SHOW(ProcessExec(nullptr, missing, missing));                              // = -1 EFAULT
    // | @ Process: WARNING! Function execve() for 'nil' failed. | @ Process: WARNING! Error is 14 'Bad address'.
    SHOW(ProcessSetUserId(~0U) + ProcessSetGroupId(~0U));  // = -2 EINVAL | @ Process: ERROR! Can't set user id to -1.
    // | @ Process: ERROR! Error is 22, Invalid argument. | @ Process: ERROR! Can't set group id to -1.
    // | @ Process: ERROR! Error is 22, Invalid argument.
    SHOW(InChild([] { return ProcessSetPriority(18) + ProcessChangePriority(1) + nice(0); }) >> 8);  // = 21
}

TEST(ProcessCreate, HoldsBackTheCancellationOfItsThread) {
    const LogCapture log;
    const char* const words[] = {"/bin/sh", "sh", "-c", "exit 7", nullptr};
    int pid = -1, status = -1;
    LogContinue() << "pending";
    std::thread([&] {
        pthread_cancel(pthread_self());
        pid = ProcessCreate("", words, nullptr, -1, -1, -1, 0, 1);
    }).join();
    waitpid(pid, &status, 0);
    EXPECT_EQ(ProcessExitCode(status), 7);
    EXPECT_EQ(Logger::mutex_.TimedLock(0), 1);
    []() NO_THREAD_SAFETY_ANALYSIS { Logger::mutex_.Unlock(); }();
}

TEST(Process, IsWatchedJudgedAndEnded) {
    SHOW(ProcessIsRunning(getpid()));                     // = 1
    SHOW((Failing("kill", EPERM), ProcessIsRunning(1)));  // = -1 EPERM | @ Process: ERROR! Can't signal the pid 1.
    // | @ Process: ERROR! Error is 1 'Operation not permitted'.
    SHOW(ProcessExitCode(0x8B));    // = 4
    SHOW(ProcessExitCode(0x137F));  // = 4991 | @ Process: WARNING! Unrecognized exit code '4991'.
    SHOW(ProcessStopSignalName(0x137F), ProcessTermSignalName(0x8B));  // = "SIGSTOP" "SIGSEGV"
    SHOW(InChild([] { return ProcessAbort(), 0; }) & 0x7F, InChild([] { return ProcessKillSelf(), 0; }));  // = 6 9
}

// A temporary name, its digits as one 0.
static std::string TempName(const char* directory, const char* prefix) {
    const std::unique_ptr<char, void (*)(void*)> name(ProcessTempName(directory, prefix), free);
    return std::regex_replace(name.get(), std::regex("[0-9]+$"), "0");
}

TEST(ProcessNames, AreLookedUpAndFollowTheEnvironment) {
    Owned text;
    SHOW(AnyErrno(ProcessUserIdByName("root")), ProcessGroupIdByName("root"));  // = 0 0
    SHOW(AnyErrno(ProcessUserNameById(text, 0)), text);                         // = 1 "root"
    SHOW(ProcessGroupIdByName(nullptr));                                        // = 4294967295 ENOENT
    // | @ Process: ERROR! Can't get information for group 'nil'.
    // | @ Process: ERROR! Error is 2, No such file or directory.
    setenv("TMP", "/var", 1);
    setenv("TEMP", "", 1);
    SHOW(TempName(nullptr, nullptr));                                // = "/var/T-0"
    SHOW(TempName("/data", std::string(2000, 'x').c_str()).size());  // = 1029
    SHOW(TempName("", "job"));  // = "job0" | @ Process: WARNING! Returning temporary name in current directory.
    unsetenv("TMP");
    SHOW(ProcessTempDirectory());  // = "/tmp"
    unsetenv("TEMP");
}

TEST(Signal, HandlersMasksAndTimersAreSet) {
    struct sigaction action;
    SignalClearAction(&action);
    SHOW(SignalHandlerName(SignalSetHandler(SIGUSR1, SIG_IGN)));     // = "SIG_DFL"
    SHOW(SignalHandlerName(SignalSetHandler(SIGUSR1, [](int) {})));  // = "SIG_IGN"
    SHOW(SignalHandlerName(SignalSetHandler(SIGKILL, SIG_DFL)));     // = "SIG_DFL" EINVAL
    // | @ Signal: ERROR! Call to signal failed. Error is 22 'Invalid argument'.
    SHOW(SignalSetAction(SIGUSR1, &action, &action), SignalHandlerName(action.sa_handler));  // = 0 "User defined"
    SHOW(SignalSetAction(SIGKILL, &action, nullptr));                                        // = -1 EINVAL
    // | @ Signal: ERROR! Call to sigaction failed. Error is 22 'Invalid argument'.
    SHOW(SignalMask(77, &action.sa_mask, nullptr));  // = 22
    // | @ Signal: ERROR! Function pthread_sigmask failed. Error is 22 'Invalid argument'.
    itimerval timer{};
    SHOW(SignalSetTimer(77, &timer, nullptr));  // = -1 EINVAL
    // | @ Signal: ERROR! Call to setitimer failed. Error is 22 'Invalid argument'.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGHUP);
    const LogCapture log;
    SignalDumpSet(&set, nullptr, nullptr);
    EXPECT_EQ(
        std::regex_replace(log.Text(), std::regex("@ Signal/Signal: (\\d+), SIG(\\w+)\tNo\n"), "$1$2 "),
        "@ Signal/Signal: 1, SIGHUP\tYes\n2INT 3QUIT 4ILL 6ABRT 8FPE 9KILL 10USR1 11SEGV 12USR2 13PIPE 14ALRM 15TERM "
        "17CHLD 18CONT 19STOP 20TSTP 21TTIN 22TTOU 26VTALRM 28WINCH 29POLL ");
}

static void* Exit(void* argument) { ThreadExit(argument); }
static void* Pause(void*) { return pause(), nullptr; }

TEST(Thread, IsCreatedJoinedAndCancelled) {
    pthread_t handle, id;
    void* result = nullptr;
    SHOW(ThreadCreate(&handle, &id, Exit, &id), handle == id);  // = 1 1
    SHOW(ThreadJoin(handle, &result), result == &id);           // = 1 1
    ThreadCreate(&handle, &id, Pause, nullptr);
    SHOW(ThreadCheck(handle), ThreadSignal(handle, SIGWINCH));  // = 1 1
    SHOW(ThreadStop(handle));                                   // = 1
    Failing creation("pthread_create", EAGAIN);
    SHOW(ThreadCreate(&handle, &id, Exit, nullptr), handle + 1, id + 1);  // = -1 EAGAIN 0 0
    // | @ Thread: ERROR! Thread creation failed. Error is 11 'Resource temporarily unavailable'.
    SHOW(ThreadJoin(pthread_self(), nullptr));  // = -1 EDEADLK
    // | @ Thread: ERROR! Thread join failed. Error is 35 'Resource deadlock avoided'.
    SHOW(ThreadSetCancelType(2));  // = 22 | @ Thread: ERROR! Invalid thread cancelability type '2'.
}
