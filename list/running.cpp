#include "list/running.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "common/util/option_parser.h"
#include "list/folder.h"
#include "post/command_line.h"

namespace {

// Empty for a process that has gone meanwhile.
std::string CommandLine(const std::string& process) {
    std::string text;
    const int file = open((process + "/cmdline").c_str(), O_RDONLY | O_CLOEXEC);
    char buffer[4096];
    for (ssize_t size; file != -1 && (size = read(file, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<size_t>(size));
    }
    if (file != -1) close(file);
    return text;
}

// The list that a command line gives to qvpost, as qvpost reads it; null when it is that of another program.
const char* ListOf(std::string* commandLine) {
    std::vector<char*> words;
    for (size_t at = 0; at < commandLine->size(); at += strlen(words.back()) + 1) words.push_back(&(*commandLine)[at]);
    if (words.empty() || strcmp(FileNameOf(words[0]), "qvpost") != 0) return nullptr;
    BSDoptind = BSDoptreset = 1;
    BSDopterr = 0;
    const char* list = nullptr;
    int letter;
    while ((letter = BSDgetopt(static_cast<int>(words.size()), words.data(), kPostMainOptions)) != -1) {
        if (letter == 'f') list = BSDoptarg;
    }
    return list;
}

// By the folder and the last name: qvpost deletes the list long before it ends.
bool IsSameName(const std::string& a, const std::string& b) {
    OpenFolder folders[2];
    FileSeen seen[2];
    if (strcmp(FileNameOf(a.c_str()), FileNameOf(b.c_str())) != 0) return false;
    for (int i : {0, 1}) {
        if (folders[i].Enter((i == 0 ? a : b).c_str()) != 0 || FileLook(folders[i].Get(), ".", &seen[i]) != 0) {
            return false;
        }
    }
    return seen[0].device == seen[1].device && seen[0].identity.inode == seen[1].identity.inode;
}

}  // namespace

int RunningQvpost(const std::string& list) {
    const std::unique_ptr<DIR, int (*)(DIR*)> processes(opendir("/proc"), closedir);
    while (const dirent* entry = processes == nullptr ? nullptr : readdir(processes.get())) {
        const int process = atoi(entry->d_name);
        if (process <= 0) continue;
        const auto folder = std::string("/proc/") + entry->d_name;
        auto commandLine = CommandLine(folder);
        const char* const other = ListOf(&commandLine);
        if (other == nullptr) continue;
        const bool absolute = *other == '/';
        if (IsSameName(list, folder + (absolute ? "/root" : "/cwd/") + other) ||
            (absolute && IsSameName(list, other))) {
            return process;
        }
    }
    return 0;
}
