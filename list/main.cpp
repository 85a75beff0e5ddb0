// qvpost-list: makes, checks and mends an update.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>

#include <cstring>
#include <iostream>
#include <new>

#include "common/util/option_parser.h"
#include "list/commands.h"
#include "list/message.h"

namespace {

constexpr char kHelp[] =
    "usage: qvpost-list make [-a] [-o LIST] NEW ROOT    make the update list of the files below NEW\n"
    "       qvpost-list check [-r] LIST                 look for what would make its run fail or lose a file\n"
    "       qvpost-list mend [-n] RECORD                mend an update whose run was stopped\n"
    "  -a       put files into their place that ROOT doesn't have yet\n"
    "  -o LIST  the list to write, instead of ROOT/update.list\n"
    "  -r       write LIST.record, for mend\n"
    "  -n       print what would be done\n";

struct Command {
    const char* name;
    const char* options;  // as BSDgetopt takes them
    int operands;
    Status (*run)(const Arguments&);
    Status noMemory;
};

constexpr Command kCommands[] = {{"make", ":ao:", 2, MakeCommand, kRefused},
                                 {"check", ":r", 1, CheckCommand, kUsage},
                                 {"mend", ":n", 1, MendCommand, kRefused}};

// A standard stream that is closed would be given to the list, and messages written into it.
void OccupyStandardStreams() {
    int descriptor;
    do {
        descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (descriptor >= 0 && descriptor <= 2);
    if (descriptor > 2) close(descriptor);
}

template <class... Words>
Status Usage(const Words&... words) {
    Refuse(words..., "; see qvpost-list --help");
    return kUsage;
}

// Words that stand alone, wherever an option may stand.
bool IsAnswered(const char* word) {
    const bool isHelp = strcmp(word, "--help") == 0;
    if (!isHelp && strcmp(word, "--version") != 0) return false;
    if (isHelp) {
        std::cout << kHelp;
    } else {
        std::cout << "qvpost-list " << kListVersion << '\n';
    }
    return true;
}

void Take(int letter, Arguments* arguments) {
    switch (letter) {
        case 'a':
            arguments->add = true;
            break;
        case 'r':
            arguments->record = true;
            break;
        case 'n':
            arguments->onlyPrint = true;
            break;
        default:
            arguments->list = BSDoptarg;
    }
}

// argv[0] is the command's name.
Status Run(const Command& command, int argc, char** argv) {
    Arguments arguments;
    for (;;) {
        const int before = BSDoptind;
        const int letter = BSDgetopt(argc, argv, command.options);
        if (letter == '?' || letter == ':') {
            return Usage(command.name, letter == '?' ? " has no option -" : " takes an argument with -",
                         static_cast<char>(BSDoptopt));
        }
        if (letter != -1) {
            Take(letter, &arguments);
            continue;
        }
        // The parser has taken a word that begins with two dashes for the end of the options, whatever it is.
        if (BSDoptind == before || strcmp(argv[before], "--") == 0) break;
        return IsAnswered(argv[before]) ? kDone : Usage(command.name, " has no option ", argv[before]);
    }
    if (argc - BSDoptind != command.operands) {
        return Usage(command.name, " takes ", command.operands, command.operands == 1 ? " name" : " names");
    }
    for (int i = 0; i < command.operands; ++i) {
        arguments.operands[i] = argv[BSDoptind + i];
    }
    return command.run(arguments);
}

Status Start(int argc, char** argv) {
    if (argc < 2) return Usage("a command is missing");
    if (IsAnswered(argv[1])) return kDone;
    for (const Command& command : kCommands) {
        if (strcmp(argv[1], command.name) != 0) continue;
        try {
            return Run(command, argc - 1, argv + 1);
        } catch (const std::bad_alloc&) {
            Refuse("out of memory");
            return command.noMemory;
        }
    }
    return Usage("there is no command ", Quoted{argv[1]});
}

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
    // Who reads along may go, and a limit of sizes be reached: that is an error of a write, and no reason to stop.
    for (const int number : {SIGPIPE, SIGXFSZ}) signal(number, SIG_IGN);
    static char buffer[65536];
    if (isatty(STDOUT_FILENO) == 0) setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
    return Start(argc, argv);
}
