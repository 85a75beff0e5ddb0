// A client, installed as ROOT/bin/qvclient. qvpost starts it in one of three ways:
//
//   qvclient --post progress --fd N [--norestart] [--reopen]    to follow the update on descriptor N
//   qvclient --post success                                     after a success that no client followed
//   qvclient --post ACTION --error CODE [--entry FILE] [--norestart]
//                                                               after a failure, when every file is as it was
//
// ACTION is the step that failed: init, shutdown, update or startup. It shows the outcome, writes a line with the date
// and the outcome to ROOT/update.log and, after a failure, starts the old server, unless it has --norestart.
//
// It exits with 0: any other status makes the update fail.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>

namespace {

struct Arguments {
    std::string post;  // the word after --post
    std::string entry;
    int error = 0;
    int channel = -1;
    bool restart = true;
    bool reopen = false;
};

// Ignores what it does not recognise: a later qvpost may send more.
Arguments ReadArguments(int argc, char** argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--norestart") arguments.restart = false;
        if (name == "--reopen") arguments.reopen = true;
        if (i + 1 == argc) break;
        if (name == "--post") arguments.post = argv[++i];
        if (name == "--fd") arguments.channel = atoi(argv[++i]);
        if (name == "--error") arguments.error = atoi(argv[++i]);
        if (name == "--entry") arguments.entry = argv[++i];
    }
    return arguments;
}

// Prints the outcome, and appends it to ROOT/update.log with the date and the version in use.
void Report(const std::string& outcome) {
    printf("client: %s\n", outcome.c_str());
    fflush(stdout);
    const char* root = getenv("QV_SYSTEM");
    if (root == nullptr) return;
    char date[64];
    const time_t now = time(nullptr);
    strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S %z", localtime(&now));
    std::error_code missing;
    const std::string version = std::filesystem::read_symlink(std::string(root) + "/current", missing).filename();
    FILE* log = fopen((std::string(root) + "/update.log").c_str(), "a");
    if (log == nullptr) return perror("client: cannot open update.log");
    fprintf(log, "%s %s%s%s\n", date, outcome.c_str(), version.empty() ? "" : "; version ", version.c_str());
    fclose(log);
}

void ShowProgress(int percent) {
    constexpr int kWidth = 40;
    if (isatty(STDOUT_FILENO) == 0) {
        printf("client: %d %%\n", percent);
    } else {
        const std::string bar(static_cast<size_t>(percent * kWidth / 100), '#');
        printf("\rUpdating [%-*s] %3d %%%s", kWidth, bar.c_str(), percent, percent == 100 ? "\n" : "");
    }
    fflush(stdout);
}

// Each message is a decimal number and a zero byte: 1 to 100 is a percentage, a negative one the error of the update.
// Nothing follows 100 or an error.
int FollowUpdate(const Arguments& arguments) {
    FILE* channel = fdopen(arguments.channel, "r");
    if (channel == nullptr) {
        perror("client: cannot read the channel");
        return EXIT_FAILURE;
    }
    char* message = nullptr;
    size_t size = 0;
    int value = 0;
    while (value >= 0 && value < 100 && getdelim(&message, &size, '\0', channel) > 0) {
        value = atoi(message);
        if (value >= 0) ShowProgress(value);
    }
    free(message);
    fclose(channel);

    if (value == 100) {
        Report("updated");
        if (arguments.reopen) printf("client: the user was at work: open the window again\n");
        return EXIT_SUCCESS;
    }
    // After an error the files go back once this process has ended; then a second one gets the outcome.
    printf("%sclient: the update failed at %s %d\n", isatty(STDOUT_FILENO) != 0 ? "\n" : "",
           value < 0 ? "error" : "per cent", abs(value));
    return value < 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int ShowFailure(const Arguments& arguments) {
    std::string outcome = "failed in '" + arguments.post + "' with error " + std::to_string(arguments.error) + " (" +
                          strerror(arguments.error) + ")";
    if (!arguments.entry.empty()) outcome += " at '" + arguments.entry + "'";
    if (!arguments.restart) {
        outcome += "; the old server stays stopped";
    } else {
        // A server that the failed update has started runs the new version.
        const bool stop = arguments.post == "update" || arguments.post == "startup";
        if (stop) (void)!system("\"$QV_SYSTEM/bin/qvserver\" --shutdown");
        const bool started = system("\"$QV_SYSTEM/bin/qvserver\" --startup") == 0;
        outcome += started ? "; the old server runs" : "; the old server does not start";
    }
    Report(outcome);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    const Arguments arguments = ReadArguments(argc, argv);
    if (arguments.post.empty()) {
        printf("client: no update has been made; open the window\n");
    } else if (arguments.post == "progress") {
        return FollowUpdate(arguments);
    } else if (arguments.post == "success") {
        Report("updated");
    } else {
        return ShowFailure(arguments);
    }
    return EXIT_SUCCESS;
}
