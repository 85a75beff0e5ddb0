#include "post/command_line.h"

#include <cerrno>

#include "common/util/option_parser.h"
#include "common/util/option_string.h"
#include "common/util/string_owned.h"
#include "post/exit_path.h"
#include "post/post_data.h"
#include "post/run_log.h"

namespace {

struct TextOption {
    char letter;
    char* PostData::*field;
    const char* words;
};

constexpr TextOption kTextOptions[] = {{'c', &PostData::client, "Using client program"},
                                       {'f', &PostData::updateFile, "Using post update file"},
                                       {'s', &PostData::server, "Using server program"},
                                       {'v', &PostData::version, "Using post update version"}};

[[noreturn]] void Fail() { PostMainExitFailed("init", EINVAL); }

const char* CheckedValue(char letter) {
    if (OptionCheckValue(BSDoptarg, 0) != 1) PostMainBadOption(letter, BSDoptarg);
    return BSDoptarg;
}

bool ReadText(int letter) {
    for (const TextOption& option : kTextOptions) {
        if (option.letter != letter) continue;
        char*& field = postData_.*option.field;
        StringSet(&field, CheckedValue(option.letter));
        Line() << "PostMain: " << option.words << " '" << field << "'.\n";
        return true;
    }
    return false;
}

void ReadPid() {
    const char* value = CheckedValue('p');
    const int pid = OptionParseNumber(value);
    if (pid < 0) {
        Line(LogError) << "Invalid pid '" << value << "'.\n";
        Fail();
    }
    postData_.parentPid = pid;
    Line() << "PostMain: Waiting parent pid '" << pid << "'.\n";
}

}  // namespace

void PostMainReadOptions(int argc, char** argv) {
    int letter;
    while ((letter = BSDgetopt(argc, argv, kPostMainOptions)) != -1) {
        if (ReadText(letter)) {
            if (letter == 's') postData_.serverGiven = 1;
        } else if (letter == 'p') {
            ReadPid();
        } else if (letter == 'r') {
            postData_.startup = 0;
            Line() << "PostMain: Using server startup value '" << postData_.startup << "'.\n";
        } else if (letter == 'i') {
            postData_.interactive = 1;
            Line() << "PostMain: Using interactive value '" << postData_.interactive << "'.\n";
        } else {
            Line(LogError) << "Invalid option '" << static_cast<char>(BSDoptopt) << "'.\n";
            Fail();
        }
    }
}

void PostMainBadOption(char letter, const char* value) {
    Line(LogError) << "Invalid option '" << letter << "' '" << StringOrNil(value) << "'.\n";
    Fail();
}
