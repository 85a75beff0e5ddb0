// The option parser and the option strings beside the plainest code that does the same.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "common/util/option_parser.h"
#include "common/util/option_string.h"
#include "common/util/string_owned.h"

namespace {

void Require(bool holds) {
    if (!holds) abort();
}

struct Found {
    int result;
    std::string argument;
    bool operator==(const Found&) const = default;
};

// Reads the vector word by word: the words are options up to the first that can't be one.
std::vector<Found> Model(const std::vector<std::string>& words, const std::string& options) {
    std::vector<Found> found;
    for (size_t i = 1; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word.empty() || word[0] != '-' || word.substr(0, 2) == "--") break;
        if (word == "-" && options.find('-') == std::string::npos) break;
        for (size_t k = word == "-" ? 0 : 1; k < word.size(); ++k) {
            const size_t known = word[k] == ':' ? std::string::npos : options.find(word[k]);
            if (known == std::string::npos) {
                if (word[k] == '-') return found;
                found.push_back({'?', ""});
                continue;
            }
            if (known + 1 >= options.size() || options[known + 1] != ':') {
                found.push_back({word[k], ""});
                continue;
            }
            if (k + 1 < word.size()) {
                found.push_back({word[k], word.substr(k + 1)});
            } else if (++i < words.size()) {
                found.push_back({word[k], words[i]});
            } else {
                found.push_back({options[0] == ':' ? ':' : '?', ""});
            }
            break;
        }
    }
    return found;
}

std::vector<Found> Parse(std::vector<std::string> words, const std::string& options) {
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    const int argc = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    BSDoptind = BSDoptreset = 1;
    BSDopterr = 0;
    std::vector<Found> found;
    for (int result; (result = BSDgetopt(argc, argv.data(), options.c_str())) != -1;) {
        Require(found.size() < 10000);
        const bool error = result == '?' || result == ':';
        found.push_back({result, error || BSDoptarg == nullptr ? "" : BSDoptarg});
    }
    return found;
}

void CheckStrings(const std::string& first, const std::string& second) {
    std::string text = first;
    OptionEscape(text.data());
    Require(text.find_first_of(",= ") == std::string::npos);
    OptionUnescape(text.data());
    std::string expected = first;
    for (char& c : expected) c = c == 30 ? ',' : c == 29 ? '=' : c == 31 ? ' ' : c;
    Require(text == expected);

    const bool clean = first.find_first_of("=,") == std::string::npos;
    Require((OptionCheckValue(first.c_str(), 0) == 1) == (clean && first.size() < 1024));
    Require((OptionCheckValue(first.c_str(), 7) == 1) == (clean && first.size() < 7));
    Require((OptionCheckValue(first.c_str(), UINT32_MAX) == 1) == clean);
    const bool match =
        second.find(',') == std::string::npos && (first + ",").compare(0, second.size() + 1, second + ",") == 0;
    Require((OptionMatchName(first.c_str(), second.c_str()) == 1) == match);
    char* owned = StringCopy(first.c_str());
    const bool starts = first.compare(0, second.size(), second) == 0;
    Require((StringReplacePrefix(&owned, second.c_str(), "new") == 1) == starts);
    Require(owned == (starts ? "new" + first.substr(second.size()) : first));
    StringReset(&owned);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // NULs divide the bytes into the option string and the words. A letter 0xFF would be returned as the end.
    std::vector<std::string> words(1);
    for (const uint8_t byte : std::basic_string_view(data, size)) {
        if (byte == 0) words.emplace_back();
        if (byte != 0 && byte != 0xFF) words.back().push_back(static_cast<char>(byte));
    }
    const std::string options = words[0];
    Require(Parse(words, options) == Model(words, options));
    CheckStrings(words[0], words.back());
    return 0;
}
