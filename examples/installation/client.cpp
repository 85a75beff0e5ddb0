// A client, installed where the updater's -c says. qvpost starts it so:
//
//   client --post progress --fd N [--norestart] [--reopen]      while the update runs: follow it on descriptor N
//   client --post success                                       it went well, and nobody followed it
//   client --post ACTION --error CODE [--entry FILE] [--norestart]
//                                                               it failed, and every file is as it was
//
// ACTION says in which step: init, shutdown, update or startup. --norestart (qvpost's -r) and --reopen (-i) are passed
// on from the updater; what they mean is for the client's maker to say, and here they get one line each.
//
// The client must exit with 0: any other status says that the client can't work with the update, and fails it.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Outcome {
    const char* post = nullptr;  // the word after "--post"; null when the client wasn't started by qvpost
    const char* entry = nullptr;
    int error = 0;
    int channel = -1;
    bool restart = true;
    bool reopen = false;
};

// Arguments that this version doesn't know are passed over: a later qvpost may send more.
Outcome ReadArguments(int argc, char** argv) {
    Outcome outcome;
    for (int i = 1; i < argc; ++i) {
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (strcmp(argv[i], "--norestart") == 0) {
            outcome.restart = false;
        } else if (strcmp(argv[i], "--reopen") == 0) {
            outcome.reopen = true;
        } else if (value == nullptr) {
            continue;
        } else if (strcmp(argv[i], "--post") == 0) {
            outcome.post = argv[++i];
        } else if (strcmp(argv[i], "--fd") == 0) {
            outcome.channel = atoi(argv[++i]);
        } else if (strcmp(argv[i], "--error") == 0) {
            outcome.error = atoi(argv[++i]);
        } else if (strcmp(argv[i], "--entry") == 0) {
            outcome.entry = argv[++i];
        }
    }
    return outcome;
}

constexpr char kGreen[] = "\033[32m", kRed[] = "\033[31m", kPlain[] = "\033[0m";

// The sequence, where the output is a terminal that has colours and the user didn't ask for none; otherwise "".
const char* Colour(const char* sequence) {
    const char *terminal = getenv("TERM"), *unwanted = getenv("NO_COLOR");
    const bool able = isatty(STDOUT_FILENO) != 0 && terminal != nullptr && strcmp(terminal, "dumb") != 0;
    return able && (unwanted == nullptr || *unwanted == '\0') ? sequence : "";
}

void ShowProgress(int percent) {
    constexpr int kWidth = 40;
    if (isatty(STDOUT_FILENO) == 0) {
        printf("client: %d %%\n", percent);
        fflush(stdout);
        return;
    }
    printf("\r%sUpdating [", percent == 100 ? Colour(kGreen) : "");
    for (int i = 0; i < kWidth; ++i) putchar(i < percent * kWidth / 100 ? '#' : '.');
    printf("] %3d %%%s%s", percent, Colour(kPlain), percent == 100 ? "\n" : "");
    fflush(stdout);
}

// Each message is a decimal number and a zero byte: 1 to 100 are percentages, a negative one is the error that the
// update failed with. Nothing is sent after 100 or an error. Returns the exit status of the client.
int FollowUpdate(const Outcome& outcome) {
    FILE* channel = fdopen(outcome.channel, "r");
    if (channel == nullptr) {
        perror("client: can't read the channel");
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

    if (isatty(STDOUT_FILENO) != 0 && value < 100) putchar('\n');
    if (value < 0) {
        // The files are put back once this process has ended; then a second one is told more.
        printf("%sclient: the update failed with error %d (%s)%s\n", Colour(kRed), -value, strerror(-value),
               Colour(kPlain));
    } else if (value < 100) {
        printf("client: the channel ended at %d %%\n", value);
        return EXIT_FAILURE;
    } else if (outcome.reopen) {
        printf("client: the user was at work: open the window again\n");
    }
    return EXIT_SUCCESS;
}

int ShowSuccess() {
    printf("%sclient: the update is complete%s\n", Colour(kGreen), Colour(kPlain));
    return EXIT_SUCCESS;
}

int ShowFailure(const Outcome& outcome) {
    printf("%sclient: the update failed in '%s' with error %d (%s)%s\n", Colour(kRed), outcome.post, outcome.error,
           strerror(outcome.error), Colour(kPlain));
    if (outcome.entry != nullptr) printf("client: at the file '%s'\n", outcome.entry);
    printf("client: the old version is in place%s\n", outcome.restart ? "; start its server" : ", to be left stopped");
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    const Outcome outcome = ReadArguments(argc, argv);
    if (outcome.post == nullptr) {
        printf("client: no update has been made; open the window\n");
        return EXIT_SUCCESS;
    }
    if (strcmp(outcome.post, "progress") == 0) return FollowUpdate(outcome);
    if (strcmp(outcome.post, "success") == 0) return ShowSuccess();
    return ShowFailure(outcome);
}
