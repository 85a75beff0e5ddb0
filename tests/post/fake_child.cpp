// Server, setup script and client of the tests. Each call is written down in FAKE_FOLDER: "calls" ("progress" for the
// progress client, with the values that it reads), and "facts" (descriptors, B blocked and I ignored signals).
// What it then does stands in FAKE_PLAN: "<first argument, or what follows --post> <command> <value>...; ...".
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace {

const std::string folder = getenv("FAKE_FOLDER") + std::string("/");
constexpr rlimit kOneProcess{1, 1};
int channel = -1;

void Append(const std::string& name, const std::string& text) {
    const int file = open((folder + name).c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666);
    if (write(file, text.data(), text.size()) == -1) _exit(99);
    close(file);
}

bool Logged(const std::string& text) {
    std::ifstream log(folder + "log");
    return std::string(std::istreambuf_iterator<char>(log), {}).find(text) != std::string::npos;
}

// Up to a value or a failure; to the end of the channel for 0.
void ReadChannel(const std::string& last) {
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

std::string Facts() {
    std::string facts;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != -1 && descriptor != channel) facts += " " + std::to_string(descriptor);
    }
    if (fcntl(channel, F_GETFD) != -1) facts += " channel";
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (sigismember(&mask, signal) == 1) facts += " B" + std::to_string(signal);
        if (action.sa_handler == SIG_IGN) facts += " I" + std::to_string(signal);
    }
    return facts + ";";
}

void Obey(const std::string& command, std::string what) {
    std::ranges::replace(what, '_', ' ');
    if (command == "until") ReadChannel(what);
    if (command == "close") close(channel);
    if (command == "make") Append(what, "");
    if (command == "remove") unlink((folder + what).c_str());
    while (command == "await" && access((folder + what).c_str(), F_OK) != 0) usleep(1000);
    while (command == "log" && !Logged(what)) usleep(1000);
    if (command == "alone") prlimit(getppid(), RLIMIT_NPROC, &kOneProcess, nullptr);
    if (command == "signal") kill(getppid(), std::stoi(what));
    if (command == "die") raise(std::stoi(what));
    if (command == "exit") exit(std::stoi(what));
}

}  // namespace

int main(int argc, char** argv) {
    alarm(300);
    std::string call = strrchr(argv[0], '/') + 1;
    const std::string kind = argv[strcmp(argv[1], "--post") == 0 ? 2 : 1];
    for (int slot = 1; slot < argc; ++slot) {
        const bool number = strcmp(argv[slot - 1], "--fd") == 0;
        if (number) channel = std::stoi(argv[slot]);
        call += std::string(" ") + (number ? "#" : argv[slot]);
    }
    Append("facts", kind + Facts());
    Append(kind == "progress" ? "progress" : "calls", call + (kind == "progress" ? ":" : "; "));
    std::istringstream plans(getenv("FAKE_PLAN") + std::string(";progress until 100"));
    for (std::string plan, word, what; std::getline(plans, plan, ';');) {
        std::istringstream words(plan);
        if (!(words >> word) || word != kind) continue;
        while (words >> word >> what) Obey(word, what);
        return 0;
    }
}
