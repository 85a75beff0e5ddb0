// Snapshots: calls with their results beside them, in the source of the test.
//
//     SHOW(ProcessSetUserId(~0U));  // = -1 EINVAL | @ Process: ERROR! Can't set user id to -1.
//     // | @ Process: ERROR! Error is 22, Invalid argument.
//
// Shown are the result, the errno if the call changed it, the values that are named behind the call, and each line on
// the standard error behind a '|'. A difference is printed as a patch, which scripts/snapshots.sh applies.
#pragma once
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <type_traits>

#include "common/util/string_owned.h"
#include "tests/support/scopes.h"

#define SHOW(call, ...)     \
    snapshot::Compare(      \
        __FILE__, __LINE__, \
        snapshot::Shown([&]() -> decltype(auto) { return call; }, [&] { return snapshot::Texts(__VA_ARGS__); }))

/// An owned string of the library, freed at the end. `text = "x"` gives it a value first.
struct Owned {
    char* text = nullptr;
    ~Owned() { StringReset(&text); }
    Owned& operator=(const char* value) { return StringSet(&text, value), *this; }
    operator char**() { return &text; }
};

namespace snapshot {

constexpr int kUnchanged = 4711;  ///< what errno is before every call

void Compare(const char* file, int line, const std::string& shown);
inline std::string Text(const std::string& text) { return testing::PrintToString(text); }
inline std::string Text(const char* text) { return text != nullptr ? Text(std::string(text)) : "null"; }
inline std::string Text(const Owned& owned) { return Text(owned.text); }
std::string Text(auto number) requires std::is_arithmetic_v<decltype(number)> { return std::to_string(number); }

template <class... Values>
std::string Texts(const Values&... values) {
    return ("" + ... + (" " + Text(values)));
}

/// What a call shows: a line for the values, then those of the log.
template <class Call, class Others>
std::string Shown(Call call, Others others) {
    const LogCapture log;
    std::string text = " =";
    int error;
    errno = kUnchanged;
    if constexpr (std::is_void_v<decltype(call())> || std::is_same_v<decltype(call()), std::ostream&>) {
        call();
        error = errno;
    } else {
        const auto& result = call();
        error = errno;
        text += " " + Text(result);
    }
    if (error != kUnchanged) text.append(" ").append(strerrorname_np(error));
    return text + others() + "\n" + log.Text();
}

}  // namespace snapshot
