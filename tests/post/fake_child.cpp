// Server, setup script and client of the tests, in the folder of an installation. Each call is written down in the file
// "calls" (in "progress" that of the progress client, with the values that it reads), and what it was given (open
// descriptors, B blocked and I ignored signals) in "facts". What it does then stands in FAKE_PLAN:
//
//     <first argument, or what follows --post> <command> <value> <command> <value>...; <the next child>...
//
// The commands are the rows below; another word is a file that is waited for until it holds the value, where "_" is a
// blank. A wait ends when the program, FAKE_PROGRAM, has gone, and the progress client's when the run has failed.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

namespace {

using Text = const std::string&;

int channel = -1;

void Append(const char* file, Text text) { std::ofstream(file, std::ios::app) << text << std::flush; }

bool Holds(Text file, Text text) {
    std::ifstream in(file);
    return std::string(std::istreambuf_iterator<char>(in), {}).find(text) != std::string::npos;
}

bool RunFailed() {
    char text[64];
    const ssize_t size = recv(channel, text, sizeof text, MSG_DONTWAIT);
    return size == 0 || (size > 0 && memchr(text, '-', static_cast<size_t>(size)) != nullptr);
}

void Await(Text file, Text text) {
    const pid_t program = atoi(getenv("FAKE_PROGRAM"));
    while (!Holds(file, text) && getppid() == program && !RunFailed()) usleep(500);
}

// Up to a value or a failure; to the end of the channel for 0.
void ReadChannel(Text last) {
    std::string value;
    for (char byte; read(channel, &byte, 1) == 1;) {
        if (byte != '\0') {
            value += byte;
            continue;
        }
        Append("progress", " " + value);
        if (last != "0" && (value == last || value[0] == '-')) return;
        value.clear();
    }
}

const std::map<std::string, void (*)(Text)> kCommands = {
    {"until", ReadChannel},
    {"close", [](Text word) { close(channel), Append("progress", " " + word); }},
    // Until the progress thread has reported how its client ended, where there is that thread.
    {"report", [](Text) { Await("log", Holds("log", "Created the progress") ? "context [A" : ""); }},
    {"signal", [](Text number) { kill(getppid(), std::stoi(number)); }},
    {"die", [](Text number) { raise(std::stoi(number)); }},
    {"exit", [](Text code) { exit(std::stoi(code)); }},
};

std::string Facts() {
    std::string facts;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1 && descriptor != channel) facts += " " + std::to_string(descriptor);
    }
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (sigismember(&mask, signal) == 1) facts += " B" + std::to_string(signal);
        if (action.sa_handler == SIG_IGN) facts += " I" + std::to_string(signal);
    }
    return facts;
}

}  // namespace

int main(int argc, char** argv) {
    alarm(300);
    std::string call = strrchr(argv[0], '/') + 1;
    const std::string kind = argv[strcmp(argv[1], "--post") == 0 ? 2 : 1];
    for (int slot = 1; slot < argc; ++slot) {
        const bool number = kind == "progress" && strcmp(argv[slot - 1], "--fd") == 0;
        if (number) channel = std::stoi(argv[slot]);
        call += std::string(" ") + (number ? "#" : argv[slot]);
    }
    Append("facts", Facts() + "; ");
    const bool progress = kind == "progress";
    Append(progress ? "progress" : "calls", call + (progress ? ":" : "; "));
    std::istringstream plans(getenv("FAKE_PLAN") + std::string(";progress until 100"));
    for (std::string plan, word, value; std::getline(plans, plan, ';');) {
        std::istringstream words(plan);
        if (!(words >> word) || word != kind) continue;
        while (words >> word >> value) {
            std::ranges::replace(value, '_', ' ');
            const auto command = kCommands.find(word);
            if (command == kCommands.end()) Await(word, value);
            if (command != kCommands.end()) command->second(value);
        }
        break;
    }
}
