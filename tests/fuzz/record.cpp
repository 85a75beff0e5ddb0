// Any bytes as a record: reading it, and printing what a recovery would do, ends by itself and touches nothing.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "list/commands.h"
#include "tests/support/scopes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const TemporaryDirectory directory;
    static const bool isSilent = dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO) != -1;
    const std::string text(data, data + size);
    logger_.mode_ = 0;
    WriteFile("record", text);
    std::filesystem::permissions("record", std::filesystem::perms{0600});
    char name[] = "record", *operands[] = {name, nullptr};
    if (RecoverCommand({.flag = true, .operands = operands}) == kUsage || !isSilent || ReadFile("record") != text)
        abort();
    return 0;
}
