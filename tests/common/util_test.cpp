#include <thread>

#include "common/util/mutex.h"
#include "common/util/option_parser.h"
#include "common/util/option_string.h"
#include "common/util/string_text.h"
#include "common/util/time_text.h"
#include "tests/common/failing_calls.h"

TEST(String, IsReplacedExtendedScannedAndEscaped) {
    Owned text;
    text = "tail";
    SHOW(StringSet(text, text.text + 1), text);                                               // = "ail"
    SHOW(StringAdd(text = "w", "x", "y", nullptr, "z"), text);                                // = "wxyz"
    SHOW(StringAdd(text = nullptr, nullptr, "", nullptr, ""), text);                          // = null
    SHOW(StringAddBytes(text = "x", "abc", 2), text);                                         // = "xab"
    SHOW(StringInitLine(text = nullptr, std::string(1025, 'x').c_str()), strlen(text.text));  // = 1023
    SHOW(StringReplaceAll(text = "aaa", "aa", "b"), text);                                    // = 1 "ba"
    SHOW(StringReplaceAll(text = "x.y.", ".", "---"), text);                                  // = 2 "x---y---"
    SHOW(OptionReplacePrefix(text = "/usr/x", "/usr", "/opt/y"), text);                       // = 1 "/opt/y/x"
    std::string bytes = "~\x1D\x1F \x80";
    SHOW(StringCutUnprintable(bytes.data()));              // = "~\x1D\x1F "
    SHOW(StringCutUnprintable((bytes = "a\x1C").data()));  // = "a"
    int a, b, c, d;
    SHOW(StringScanNumbers("010.0x1F.-2", &a, &b, &c, &d), a, b, c, d);  // = 3 8 31 -2 -1
    SHOW(StringCountLines("\xFF\xFF", 1, '\xFF'));  // = 1 | @ String: Found 1 lines with separator -1.
    SHOW(OptionCheckPair("key", "value", 6));       // = 1
    SHOW(OptionCheckPair("key", "value", 5), OptionCheckPair("k=y", "value", 6));               // = -1 -1
    SHOW(OptionMatchName("linker", "link"), OptionParseNumber("09x"), OptionParseNumber(":"));  // = 0 9 -1
}

// A whole scan: each answer with its argument, which is "kept" where nothing was stored, and what the globals hold.
static std::string Scan(const char* options, std::vector<const char*> words) {
    static char kept[] = "kept";
    BSDoptind = BSDoptreset = 1;
    std::string answers;
    for (int letter = 0; letter != -1;) {
        BSDoptarg = kept;
        letter = BSDgetopt(static_cast<int>(words.size()), const_cast<char**>(words.data()), options);
        answers += std::to_string(letter) + " " + StringOrNil(BSDoptarg) + ", ";
    }
    return answers + "index " + std::to_string(BSDoptind) + ", letter " + std::to_string(BSDoptopt);
}

TEST(OptionParser, ScansAVector) {
    SHOW(Scan("abf:", {"program", "-ab", "-f", "list", "-flist", "x",
                       "-a"}));  // = "97 nil, 98 nil, 102 list, 102 list, -1 kept, index 5, letter 102"
    SHOW(Scan("-", {"program", "-", "--name"}));  // = "45 nil, -1 kept, index 3, letter 45"
    SHOW(Scan("b:a", {"program", "-:a", "-x"}));  // = "63 kept, 97 nil, 63 kept, -1 kept, index 3, letter 120"
    // | program: illegal option -- : | program: illegal option -- x
    SHOW(Scan("f:", {"program", "-f"}));  // = "63 kept, -1 kept, index 2, letter 102"
    // | program: option requires an argument -- f
    SHOW(Scan("\xE4", {"program", "-\xE4"}));  // = "-28 nil, -1 kept, index 2, letter -28"
    BSDopterr = 0;
    SHOW(Scan("f:", {"program", "-x", "-f"}));  // = "63 kept, 63 kept, -1 kept, index 3, letter 102"
}

TEST(TimeText, ShowsLocalTime) {
    setenv("TZ", "EST5", 1);
    tzset();
    const timeval time{18 * 3600 + 5 * 60 + 9, 7512};
    Owned text;
    SHOW(TimeSetClockText(text = "old", &time), text);        // = "13:05:09 007.512"
    SHOW(TimeSetDateText(text = "old", &time.tv_sec), text);  // = "Thu Jan  1 13:05:09 1970"
}

TEST(Mutex, BelongsToItsHolderAndIsWaitedForUntilADeadline) {
    Mutex mutex;
    const auto elsewhere = [&mutex] {
        int taken = -1;
        std::thread([&] { taken = mutex.TimedLock(0); }).join();
        return taken;
    };
    mutex.Lock();
    SHOW(mutex.SpinLock());  // = 0
    mutex.Unlock();
    SHOW(elsewhere());                                                                                // = 0
    SHOW(InChild([&mutex] { return mutex.Reset(), mutex.TimedLock(0); }) >> 8);                       // = 1
    constexpr auto now = [] { return std::chrono::system_clock::now().time_since_epoch().count(); };  // nanoseconds
    for (const int milliseconds : {-5, 1, 999, 2500}) {
        const int64_t before = now(), wait = std::max(milliseconds, 0) * 1'000'000LL;
        Mutex().TimedLock(milliseconds);
        const int64_t until = deadline.tv_sec * 1'000'000'000LL + deadline.tv_nsec - wait;
        EXPECT_TRUE(until >= before && until <= now() && deadline.tv_nsec < 1'000'000'000) << milliseconds;
    }
}
