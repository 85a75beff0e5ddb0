#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "common/util/mutex.h"
#include "common/util/option_string.h"
#include "common/util/string_owned.h"
#include "common/util/string_text.h"
#include "common/util/time_text.h"
#include "tests/support/scopes.h"

namespace {

// What an owned text is after an operation on its field, behind the operation's result if it has one.
std::string After(auto operation, const char* start, auto... arguments) {
    char* text = StringCopy(start);
    std::string result;
    if constexpr (std::is_void_v<decltype(operation(&text, arguments...))>)
        operation(&text, arguments...);
    else
        result = std::to_string(operation(&text, arguments...)) + ":";
    result += StringOrNil(text);
    return delete[] text, result;
}

TEST(StringOwned, OperationsReplaceTheText) {
    const auto add = [](auto... arguments) { return After(StringAdd, arguments...); };
    const auto bytes = [](auto... arguments) { return After(StringAddBytes, arguments...); };
    const auto part = [](auto... arguments) { return After(StringInitPart, nullptr, arguments...); };
    const auto replace = [](auto... arguments) { return After(StringReplaceAll, arguments...); };
    const auto prefix = [](auto... arguments) { return After(OptionReplacePrefix, arguments...); };
    const char* const null = nullptr;
    EXPECT_EQ(Shown(After(StringSet, "old", "new"), After(StringSet, "old", null), After(StringSet, null, ""),
                    After(StringInit, null, "new"), After(StringInit, null, null), After(StringReset, "old")),
              "new nil  new nil nil");
    EXPECT_EQ(Shown(add("w", "x", "y", null, "z"), add(null, null, "", null, ""), add(null, null, null, null, "z"),
                    bytes("x", "abc", 2), bytes(null, "abc", 1), bytes("x", "abc", -1), bytes(null, "abc", 0),
                    bytes("x", null, 3)),
              "wxyz nil z xab a x nil x");
    EXPECT_EQ(Shown(part("abc", 2), part("ab", 4), part("ab", -1), part(null, 3), After(StringInitLine, null, null),
                    After(StringAllocate, null, 0)),
              "ab ab  nil  ");
    EXPECT_EQ(After(StringInitLine, null, std::string(2000, 'x').c_str()), std::string(1023, 'x'));
    EXPECT_EQ(Shown(replace("aaaa", "aa", "b"), replace("aaa", "aa", "b"), replace("x", "y", "z"),
                    replace("", "a", "b"), replace("a.b.", ".", "---"), replace("abab", "ab", "")),
              "2:bb 1:ba 0:x 0: 2:a---b--- 2:");
    EXPECT_EQ(Shown(prefix("/usr/x", "/usr", "/opt/y"), prefix("/u", "/var", "/o"), prefix("/u", "/u", ""),
                    prefix("/u", null, "x"), prefix("/u", "/", null), After(StringReplacePrefix, "/usr", "/usr", "")),
              "1:/opt/y/x 0:/u 0:/u 0:/u 0:/u 1:");
    EXPECT_EQ(Shown(After(StringSetAddress, "old", inet_addr("255.255.255.255")),
                    After(StringSetAddress, null, inet_addr("192.168.0.1"))),
              "255.255.255.255 192.168.0.1");
    char* text = StringCopy("one");
    char* const first = text;
    StringSet(&text, first);
    EXPECT_EQ(text, first);
    StringAdd(&text, null, "", null, null);
    EXPECT_NE(text, first);
    StringSet(&text, text + 1);
    EXPECT_EQ(After(StringSet, null, text), "ne");
    StringReset(&text);
    StringAllocateLine(&text);
    text[1023] = '\0';
    StringReset(&text);
}

TEST(StringText, IsTestedAndScanned) {
    const char* const file = "file.txt";
    EXPECT_TRUE(StringStartsWith(file, "file") == file && StringStartsWith(file, "") == file &&
                StringEndsWith(file, ".txt") == file + 4);
    EXPECT_TRUE(!StringStartsWith("fi", "file") && !StringEndsWith("txt", ".txt") && !StringEndsWith(file, ".txx"));
    EXPECT_EQ(Shown(StringIsAbsolute("/a"), StringIsAbsolute("a/"), StringIsAbsolute("")), "1 0 0");
    for (const char* path : {"../a", "abc/../d", "../"}) EXPECT_EQ(StringHasDotDot(path), 1) << path;
    for (const char* path : {"a/../b", "..", "abc/..", "/..", ""}) EXPECT_EQ(StringHasDotDot(path), 0) << path;
    const auto cut = [](std::string text) { return std::string(StringCutUnprintable(text.data())); };
    EXPECT_EQ(Shown(cut("ab\tc"), cut("\x1D\x1E\x1F~"), cut("a\x1C"), cut("b\x7F"), cut("c\x80"), cut("")),
              "ab \x1D\x1E\x1F~ a b c ");
    EXPECT_EQ(StringCutUnprintable(nullptr), nullptr);
    const auto scan = [](const char* text) {
        int a, b, c, d;
        return Told() << StringScanNumbers(text, &a, &b, &c, &d) << a << b << c << d;
    };
    EXPECT_EQ(Shown(scan("3.5.1_7"), scan("3.5"), scan("010.0x1F.-2"), scan("")),
              "4 3 5 1 7 2 3 5 -1 -1 3 8 31 -2 -1 -1 -1 -1 -1 -1");
    const LogCapture log;
    EXPECT_EQ((Told() << StringCountLines("a\nb\n\n", 4, '\n') << StringCountLines("\xFF", -1, '\xFF')), "2 0");
    EXPECT_EQ(log.Text(), "@ String: Found 2 lines with separator 10.\n@ String: Found 0 lines with separator -1.\n");
}

TEST(TimeText, ShowsEveryMicrosecondAsPaddedMillisecondsOfTheLocalTime) {
    const Variable zone("TZ", "EST5");
    tzset();
    char buffer[17], expected[32];
    for (int microseconds = 0; microseconds < 1'000'000; ++microseconds) {
        const timeval time{18 * 3600 + 5 * 60 + 9, microseconds};
        snprintf(expected, sizeof expected, "13:05:09 %07.3f", 0.001 * microseconds);
        ASSERT_STREQ(TimeClockText(buffer, &time), expected);
    }
    timespec now{-7, -7};
    EXPECT_EQ((Told() << TimeGetClock(2, &now) << errno << now.tv_sec << TimeGetClock(0, &now)
                      << (now.tv_sec - time(nullptr)) / 2),
              "-1 22 -7 0 0");
}

TEST(Mutex, BelongsToItsHolderUntilUnlockedAsOftenOrReset) {
    Mutex mutex;
    const auto elsewhere = [&mutex](int milliseconds) {
        int taken = -1;
        std::thread([&] {
            if ((taken = mutex.TimedLock(milliseconds)) == 1) mutex.Unlock();
        }).join();
        return taken;
    };
    mutex.Lock();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ((Told() << mutex.TimedLock(0) << mutex.SpinLock() << elsewhere(0) << elsewhere(-5) << elsewhere(999)),
              "1 0 0 0 0");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
    for (int i = 0; i < 3; ++i, mutex.Unlock()) EXPECT_EQ(elsewhere(0), 0);
    EXPECT_EQ(elsewhere(0), 1);
    std::latch locked(1), released(1);
    std::thread holder([&] {
        const MutexScope scope(mutex);
        locked.count_down();
        released.wait();
    });
    locked.wait();
    EXPECT_EQ(InChild([&mutex] {
                  return (Told() << mutex.TimedLock(0) << (mutex.Reset(), mutex.TimedLock(0))) == "0 1" ? 0 : 1;
              }),
              0);
    released.count_down();
    holder.join();
}

}  // namespace
