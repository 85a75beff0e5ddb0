// Texts of one lifetime, packed: a list of 100,000 files has 200,000 names, and a string object each would cost more
// than the names.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

/// Holds texts until its own end.
class Arena {
public:
    /// A copy of front and back, one behind the other, with a NUL behind them.
    const char* Add(std::string_view front, std::string_view back = {}) {
        const size_t size = front.size() + back.size() + 1;
        if (size > left_) {
            left_ = std::max(size, kBlock);
            blocks_.push_back(std::make_unique<char[]>(left_));
            next_ = blocks_.back().get();
        }
        char* const text = next_;
        std::copy(front.begin(), front.end(), text);
        std::copy(back.begin(), back.end(), text + front.size());
        text[size - 1] = '\0';
        next_ += size;
        left_ -= size;
        return text;
    }

private:
    static constexpr size_t kBlock = 65536;
    std::vector<std::unique_ptr<char[]>> blocks_;
    char* next_ = nullptr;
    size_t left_ = 0;
};
