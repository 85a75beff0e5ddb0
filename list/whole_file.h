// A file that is there whole or not at all, also after a power cut: written beside its name, flushed, renamed into its
// place, and then its folder flushed.
#pragma once
#include <charconv>
#include <string>
#include <string_view>

/// What fails is said once on the standard error, and Finish then gives false.
class WholeFile {
public:
    /// Starts PATH.part, in place of one that was left behind.
    explicit WholeFile(const std::string& path);

    /// Deletes what wasn't finished.
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    void Add(std::string_view text) {
        buffer_ += text;
        if (buffer_.size() > kFull) Write();
    }

    template <class Number>
    void AddNumber(Number number) {
        char digits[24];
        Add({digits, std::to_chars(digits, digits + sizeof digits, number).ptr});
    }

    /// The file has its name, and keeps it: true. Else false, and a file that had the name before still has it, unless
    /// the last step failed, the flush of the folder.
    bool Finish();

private:
    void Write();
    bool Fail(const char* what, const std::string& name);

    static constexpr size_t kFull = 65536;
    const std::string path_, part_;
    std::string buffer_;
    int descriptor_;
    bool failed_ = false;
};
