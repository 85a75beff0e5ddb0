// Runs that a line of runs.txt can't describe: an updater that takes its time, what children are given, bad
// surroundings.

#include "tests/post/installation.h"

namespace {

TEST(Updater, IsWaitedForUntilItGoesOrASignalComes) {
    for (const bool goes : {true, false}) {
        const pid_t updater = fork();
        while (updater == 0) pause();
        const Scenario run(
            "Wait | opts C F -p " + std::to_string(updater) +
            (goes ? "" : " | exit 4 | files LEFT | calls TOLD update --error 4; | log signal 'SIGINT'."));
        Installation installation;
        installation.Start(run);
        installation.AwaitLog("@ PostMain: Still waiting for pid");
        kill(goes ? updater : installation.Pid(), SIGINT);
        if (goes) waitpid(updater, nullptr, 0);
        installation.Check(run);
        if (!goes) kill(updater, SIGKILL), waitpid(updater, nullptr, 0);
    }
}

// A run that starts each kind of child, and what each of them must then have been given.
void CheckChildren(void (*before)(), const std::string& descriptors, const std::string& signals) {
    Installation installation;
    installation.Run(
        {"All | plan --startup exit 3 | exit 3 | calls ALL TOLD startup --error 3; | sees SEES: 1 33 66 -3"}, before);
    const std::string facts = ";" + installation.Record("facts");
    for (const std::string kind : {"--shutdown", "--update", "--startup", "startup", "progress"}) {
        const std::string given = ";" + kind + descriptors + (kind == "progress" ? " channel" : "") + signals + ";";
        EXPECT_NE(facts.find(given), std::string::npos) << given << " in " << facts;
    }
}

TEST(Children, AreGivenWhatTheProgramWasGiven) {
    CheckChildren(
        [] {
            dup2(1, 9);
            for (const int signal : {SIGHUP, SIGPIPE, SIGCHLD}) ::signal(signal, SIG_IGN);
            sigset_t mask;
            sigemptyset(&mask);
            for (const int signal : {SIGINT, SIGUSR1}) sigaddset(&mask, signal);
            sigprocmask(SIG_BLOCK, &mask, nullptr);
        },
        " 0 1 2 9", " I1 B2 B10 I13 I17");
}

int closed;

TEST(Children, AreGivenStandardStreamsWhereTheProgramHadNone) {
    for (closed = 0; closed < 8; ++closed) {
        CheckChildren(
            [] {
                for (int stream = 0; stream < 3; ++stream)
                    if ((closed >> stream & 1) != 0) close(stream);
            },
            " 0 1 2", "");
    }
}

TEST(Surroundings, ErrorStreamWithoutReaderOrFull) {
    Installation().Run(Scenario("Pipe | opts S F"), [] {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) dup2(ends[1], 2);
        while (write(2, "x", 1) == 1) continue;
        fcntl(2, F_SETFL, 0);
        close(ends[0]);
    });
    Installation().Run(Scenario("Limit | opts S F"), [] {
        const rlimit size{4096, 4096};
        if (ftruncate(2, 4096) == 0) setrlimit(RLIMIT_FSIZE, &size);
    });
    Installation().Run(Scenario("Full | opts S F | plan --update exit 5 | exit 5 | calls STOP SETUP"),
                       [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), 2); });
}

TEST(Surroundings, TwoRunsAtOnceLeaveAWholeFile) {
    for (int round = 0; round < 5; ++round) {
        const Installation target;
        Installation first, second;
        const Scenario run("Two | opts S F | list source=~/new/one,destination=" + target.At("app/one"));
        first.Start(run);
        second.Start(run);
        const int ends[] = {first.Wait(), second.Wait()};
        EXPECT_TRUE(ends[0] == 0 || ends[1] == 0);
        EXPECT_EQ(ReadFile(target.At("app/one")), "new1");
    }
}

// Round the length at which the names of leftovers are cut. The neighbour has the name that a cut could leave.
TEST(Surroundings, LongDestinationsLoseNothing) {
    for (const size_t length : {1011U, 1021U, 1022U, 1023U}) {
        for (const char* exit : {"5", "0"}) {
            Installation installation;
            std::string path = installation.At("long");
            while (path.size() < 900) path += "/" + std::string(99, 'd');
            std::filesystem::create_directories(path);
            path = (path + "/").append(length - path.size() - 1, 'f');
            const std::string neighbour = path.substr(0, length - 1);
            WriteFile(path, "old");
            WriteFile(neighbour, "neighbour");
            installation.Start(Scenario("Long | opts S F | plan --update exit " + std::string(exit) +
                                        " | list source=~/new/one,destination=" + path));
            EXPECT_EQ(installation.Wait(), std::stoi(exit));
            EXPECT_EQ(ReadFile(path) + ReadFile(neighbour), *exit == '0' ? "new1neighbour" : "oldneighbour");
            const std::filesystem::directory_iterator files(std::filesystem::path(path).parent_path());
            EXPECT_EQ(std::distance(files, {}), 2);
        }
    }
}

}  // namespace
