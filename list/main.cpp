// qvpost-list: makes, checks and recovers an update.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <iostream>
#include <new>

#include "common/io/standard_streams.h"
#include "common/util/option_parser.h"
#include "list/commands.h"

namespace {
constexpr char kHelp[] =
    "usage: qvpost-list make [-m] [-o LIST] NEW ROOT    make the update list of the files below NEW\n"
    "       qvpost-list check [-r] LIST                 check what would make its run fail or lose a file\n"
    "       qvpost-list recover [-n] RECORD             bring an update whose run was stopped to one version\n"
    "  -m       leave out the files that ROOT does not have, and print their names\n"
    "  -o LIST  the list to write, instead of ROOT/update.list\n"
    "  -r       write LIST.record, for recover\n"
    "  -n       print what would be done\n";

struct Command {
    const char* name;
    const char* options;  // as BSDgetopt takes them
    int operands;
    Status (*run)(const Arguments&);
};
constexpr Command kCommands[] = {
    {"make", ":mo:", 2, MakeCommand}, {"check", ":r", 1, CheckCommand}, {"recover", ":n", 1, RecoverCommand}};

Status Usage(const auto&... words) { return PrintError(words..., "; see qvpost-list --help") ? kDone : kUsage; }

// Words that stand alone, wherever an option may stand.
bool IsAnswered(const char* word) {
    const bool isHelp = strcmp(word, "--help") == 0, isVersion = strcmp(word, "--version") == 0;
    std::cout << (isHelp ? kHelp : isVersion ? "qvpost-list " QVPOST_VERSION "\n" : "");
    return isHelp || isVersion;
}

Status Run(const Command& command, int argc, char** argv) {
    Arguments arguments;
    for (;;) {
        const int before = BSDoptind;
        const int letter = BSDgetopt(argc, argv, command.options);
        if (letter == '?' || letter == ':') {
            return Usage(command.name, letter == '?' ? " has no option -" : " takes an argument with -",
                         static_cast<char>(BSDoptopt));
        }
        if (letter == 'o') arguments.list = BSDoptarg;
        if (letter == 'm' || letter == 'r' || letter == 'n') arguments.flag = true;
        if (letter != -1) continue;
        // The parser has taken a word that begins with two dashes for the end of the options, whatever it is.
        if (BSDoptind == before || strcmp(argv[before], "--") == 0) break;
        return IsAnswered(argv[before]) ? kDone : Usage(command.name, " has no option ", Quote(argv[before]));
    }
    arguments.operands = argv + BSDoptind;
    if (std::any_of(arguments.operands, argv + argc, [](const char* name) { return *name == '\0'; })) {
        return Usage(command.name, " takes no empty name");
    }
    if (argc - BSDoptind == command.operands) return command.run(arguments);
    return Usage(command.name, " takes ", command.operands, command.operands == 1 ? " name" : " names");
}
}  // namespace

int main(int argc, char** argv) {
    SanitizeStandardStreams();
    // A reader that goes, or a limit of sizes, is an error of a write and no reason to stop.
    for (const int number : {SIGPIPE, SIGXFSZ}) signal(number, SIG_IGN);
    static char buffer[65536];
    if (isatty(STDOUT_FILENO) == 0) setvbuf(stdout, buffer, _IOFBF, sizeof buffer);

    if (argc < 2) return Usage("a command is missing");
    if (IsAnswered(argv[1])) return kDone;
    try {
        for (const Command& command : kCommands) {
            if (strcmp(argv[1], command.name) == 0) return Run(command, argc - 1, argv + 1);
        }
    } catch (const std::bad_alloc&) {
        return PrintError("out of memory") ? kDone : kRefused;
    }
    return Usage("unknown command ", Quote(argv[1]));
}
