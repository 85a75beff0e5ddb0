#include "common/process/process_create.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

#include "common/log/failure.h"
#include "common/process/process_control.h"
#include "common/util/cancel_block.h"

namespace {

constexpr FailureStyle kWarning{.opening = "Process: WARNING! "};
constexpr FailureStyle kError{.opening = "Process: ERROR! "};
constexpr FailureStyle kIdError{.opening = "Process: ERROR! ", .form = ErrorForm::CommaPlain};

void PlaceStandardStreams(int input, int output, int error) {
    int given[] = {input, output, error};
    for (const int stream : {0, 1, 2}) {
        if (given[stream] == -1) given[stream] = stream;
    }
    for (const int stream : {0, 1, 2}) {
        const int descriptor = given[stream];
        if (descriptor == stream) continue;
        dup2(descriptor, stream);
        given[stream] = stream;
        if (descriptor != given[0] && descriptor != given[1] && descriptor != given[2]) close(descriptor);
    }
}

}  // namespace

int ProcessCreate(const char* command, const char* const* parameters, const char* const* environment, int input,
                  int output, int error, int level, int keepIds) {
    return ProcessCreateReporting(command, parameters, environment, input, output, error, level, keepIds, -1);
}

int ProcessCreateReporting([[maybe_unused]] const char* command, const char* const* parameters,
                           const char* const* environment, int input, int output, int error, int level, int keepIds,
                           int report) {
    const CancelBlock block;  // a caller that is cancelled gets the process id all the same
    if (parameters[0] == nullptr || parameters[1] == nullptr) {
        Log() << "Process: WARNING! Invalid number of parameters in process creation.\n";
        errno = EINVAL;
        return -1;
    }
    const int pid = ProcessFork();
    if (pid == -1) return LogFailedCall(kWarning, "Function fork() failed");
    if (pid != 0) return pid;
    logger_.mode_ = 0;
    if (keepIds == 0) {
        ProcessSetGroupId(ProcessGetGroupId());
        ProcessSetUserId(ProcessGetUserId());
    }
    PlaceStandardStreams(input, output, error);
    ProcessSetPriority(level);
    ProcessExec(parameters[0], parameters + 1, environment);
    const int failed = errno;
    while (write(report, &failed, sizeof failed) == -1 && errno == EINTR) continue;  // fails on -1
    ProcessExit(failed);
}

int ProcessFork() {
    int cancelState;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    int pid;
    do {
        pid = fork();
    } while (pid == -1 && errno == EINTR);
    if (pid != 0) pthread_setcancelstate(cancelState, nullptr);  // the child is not the thread that was cancelled
    return pid;
}

int ProcessExec(const char* file, const char* const* arguments, const char* const* environment) {
    if (logger_.mode_ != 0) logger_.FlushAll();                // exec discards the buffers
    auto* const vector = const_cast<char* const*>(arguments);  // exec modifies neither vector
    if (file == nullptr) {
        errno = EFAULT;
    } else if (environment != nullptr) {
        execve(file, vector, const_cast<char* const*>(environment));
    } else {
        execvp(file, vector);
    }
    return LogFailedCall(kWarning, environment != nullptr ? "Function execve() for '" : "Function execvp() for '",
                         StringOrNil(file), "' failed");
}

int ProcessSetPriority(int level) {
    const int value = ProcessPriorityValue(level);
    if (setpriority(PRIO_PROCESS, 0, value) == 0) return 1;
    return LogFailedCall(kError, "Can't set priority to ", value);
}

int ProcessChangePriority(int increment) {
    errno = 0;
    if (nice(increment) != -1 || errno == 0) return 1;
    return LogFailedCall(kError, "Can't change priority by ", increment);
}

int ProcessPriorityValue(int level) {
    switch (level) {
        case ProcessPriorityLowest:
            return 19;
        case ProcessPriorityNormal:
            return 0;
        case ProcessPriorityHigh:
            return -10;
        case ProcessPriorityHighest:
            return -20;
        default:
            return level;
    }
}

uid_t ProcessGetUserId() { return getuid(); }

gid_t ProcessGetGroupId() { return getgid(); }

int ProcessSetUserId(uid_t id) {
    return setuid(id) == 0 ? 1 : LogFailedCall(kIdError, "Can't set user id to ", static_cast<int>(id));
}

int ProcessSetGroupId(gid_t id) {
    return setgid(id) == 0 ? 1 : LogFailedCall(kIdError, "Can't set group id to ", static_cast<int>(id));
}
