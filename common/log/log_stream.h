// Operations of the log on a stream. For this directory only.
#pragma once
#include <cxxabi.h>
#include <stdio_ext.h>

#include <cstdio>
#include <ostream>
#include <streambuf>

/// A stream buffer over a FILE, which it closes at its end. It has no buffer of its own and relies on the FILE's lock:
/// several threads may insert at the same time.
class FileBuffer : public std::streambuf {
public:
    explicit FileBuffer(FILE* file) : file_(file) {}
    ~FileBuffer() override { fclose(file_); }
    void DropPendingText() { __fpurge(file_); }

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        return static_cast<std::streamsize>(fwrite(text, 1, static_cast<size_t>(count), file_));
    }
    int overflow(int character) override {
        if (character == traits_type::eof()) return sync() == 0 ? traits_type::not_eof(character) : character;
        return putc(character, file_);
    }
    int sync() override { return fflush(file_); }

private:
    FILE* const file_;
};

/// Inserts the pieces. Throws nothing, even if the owner of the stream has set exceptions(): the state of the stream
/// shows a failure.
template <class... Pieces>
std::ostream& LogWrite(std::ostream& out, const Pieces&... pieces) {
    try {
        (out << ... << pieces);
    } catch (const std::exception&) {
        // The state of the stream shows it.
    }
    return out;
}

inline std::ostream& LogFlushed(std::ostream& out) { return LogWrite(out, std::flush<char, std::char_traits<char>>); }

/// Begins a line. A remaining field width is cleared, so that it pads nothing.
inline std::ostream& LogBegin(std::ostream& out, const char* text) {
    LogFlushed(out);
    if (out.width() != 0) out.width(0);
    return LogWrite(out, text);
}
