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

/// The last step that a child reached, and errno of the failed step or the decoded exit code; error 0 is success.
enum ChildEnd { NotStarted, NotWaited, Exited };
struct ChildOutcome {
    ChildEnd end;
    int error;
};

/// The text of one failure of a child: the operation that failed, and its context code.
struct FailureWords {
    const char *what, *code;
};

/// A kind of child as data: the words of its log lines, and of its failures.
struct ChildKind {
    const char* starting;      ///< "ACTION! <starting> '<program>'"
    const char* waiting;       ///< "Waiting <waiting> with pid"
    const char* subject;       ///< "<subject> exited with code"
    bool showsVector;          ///< logs the arguments of the child
    const char* action;        ///< what PostData::action becomes when the child fails; null leaves it
    FailureWords failures[3];  ///< in the order of ChildEnd
};

/// A client runs beside the update to follow it, or at its end to receive the outcome.
extern const ChildKind kServerStop, kServerStart, kSetupScript, kClient;

/// Starts a child. Returns its pid, or -1 with errno.
int PostMainStartChild(const ChildKind& kind, const ChildVector& vector);

/// Starts a child and waits until its program is executed or the execution fails; *runs receives which of the two. When
/// no pipe can be created, a child with a pid counts as running.
int PostMainStartChild(const ChildKind& kind, const ChildVector& vector, bool* runs);

/// Waits for a child, logs its end and decodes its status.
ChildOutcome PostMainWaitChild(const ChildKind& kind, const ChildVector& vector, int pid);

/// Starts a child and waits for it.
ChildOutcome PostMainRunChild(const ChildKind& kind, const ChildVector& vector);
