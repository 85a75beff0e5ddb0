// Running the programs of an installation: the server, its setup script, the client.
#pragma once
#include <array>
#include <cstddef>

/// The argument vector of a child: program, program, arguments, null. Keeps pointers to texts of the caller's.
class ChildVector {
public:
    explicit ChildVector(const char* program) {
        Add(program);
        Add(program);
    }
    void Add(const char* argument) { slots_.at(count_++) = argument; }
    void Add(const char* name, const char* value) {
        Add(name);
        Add(value);
    }
    const char* const* Get() const { return slots_.data(); }
    const char* Program() const { return slots_.front(); }

private:
    std::array<const char*, 12> slots_ = {};  // the longest vector, of a client notified of a failure, takes ten
    size_t count_ = 0;
};

/// How far a child came, and errno of the step that failed or the decoded exit code; error 0 is success.
enum ChildEnd { NotStarted, NotWaited, Exited };
struct ChildOutcome {
    ChildEnd end;
    int error;
};

/// The report of one way in which a child can fail: what could not be done, and the code of the place.
struct FailureWords {
    const char *what, *code;
};

/// A kind of child as data: the words of its log lines, and of its failures.
struct ChildKind {
    const char* starting;      ///< "ACTION! <starting> '<program>'"
    const char* waiting;       ///< "Waiting <waiting> with pid"
    const char* subject;       ///< "<subject> exited with code"
    bool showsVector;          ///< log the arguments that it was started with
    const char* action;        ///< what PostData::action becomes when the child fails; null leaves it
    FailureWords failures[3];  ///< in the order of ChildEnd
};

/// The client is started in two ways: beside the update to follow it, and at its end with the outcome.
extern const ChildKind kServerStop, kServerStart, kSetupScript, kClient;

/// Starts a child: its pid, or -1 with errno.
int PostMainStartChild(const ChildKind& kind, const ChildVector& vector);

/// Starts a child and waits until its program is executed, or known not to be; *runs says which. Where even a pipe is
/// too much for the system, a child that has a pid counts as running.
int PostMainStartChild(const ChildKind& kind, const ChildVector& vector, bool* runs);

/// Waits for a child and judges it.
ChildOutcome PostMainWaitChild(const ChildKind& kind, const ChildVector& vector, int pid);

/// Both.
ChildOutcome PostMainRunChild(const ChildKind& kind, const ChildVector& vector);
