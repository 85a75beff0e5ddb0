// The option parser and the option strings beside the plainest code that does the same.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "common/util/option_parser.h"
#include "common/util/option_string.h"

namespace {

using Words = std::vector<std::string>;

void Require(bool holds) {
    if (!holds) abort();
}

// What a scan finds: each letter with its argument, or the character of an error.
Words Model(const Words& words, const std::string& options) {
    Words found;
    for (size_t i = 1; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word.empty() || word[0] != '-' || word.substr(0, 2) == "--") break;
        for (size_t k = word == "-" ? 0 : 1; k < word.size(); ++k) {
            const size_t known = word[k] == ':' ? std::string::npos : options.find(word[k]);
            if (known == std::string::npos && word[k] == '-') return found;
            if (known == std::string::npos || options.substr(known + 1, 1) != ":") {
                found.emplace_back(1, known == std::string::npos ? '?' : word[k]);
                continue;
            }
            if (k + 1 < word.size()) {
                found.push_back(word.substr(k));
            } else if (++i < words.size()) {
                found.push_back(word[k] + words[i]);
            } else {
                found.emplace_back(1, options[0] == ':' ? ':' : '?');
            }
            break;
        }
    }
    return found;
}

Words Parse(Words words, const std::string& options) {
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    BSDoptind = BSDoptreset = 1;
    BSDopterr = 0;
    BSDoptarg = nullptr;
    Words found;
    const int argc = static_cast<int>(argv.size());
    for (int letter; (letter = BSDgetopt(argc, argv.data(), options.c_str())) != -1; BSDoptarg = nullptr) {
        found.push_back(static_cast<char>(letter) + std::string(BSDoptarg != nullptr ? BSDoptarg : ""));
    }
    return found;
}

void CheckEscapes(const std::string& original) {
    std::string text = original;
    OptionEscape(text.data());
    Require(text.find_first_of(",= ") == std::string::npos);
    OptionUnescape(text.data());
    for (size_t i = 0; i < text.size(); ++i)
        Require(text[i] == original[i] || (original[i] >= 29 && original[i] <= 31));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // NULs divide the bytes into the option string and the words. A letter 0xFF would be returned as the end.
    Words words(1);
    for (const uint8_t byte : std::basic_string_view(data, size)) {
        if (byte == 0) words.emplace_back();
        if (byte != 0 && byte != 0xFF) words.back().push_back(static_cast<char>(byte));
    }
    Require(Parse(words, words[0]) == Model(words, words[0]));
    CheckEscapes(words[0]);
    return 0;
}
