// The buffers behind the streams that the log opens itself. They know when a write failed, or was cut off because its
// thread was cancelled: either leaves the stream bad, as a null text does, but passes, while a null text is the
// caller's doing and stays. For this folder only.
#pragma once
#include <atomic>
#include <ostream>
#include <streambuf>

class LogDevice {
public:
    virtual ~LogDevice() = default;

    /// How many writes have failed or were cut off.
    long Failures() const { return failures_.load(std::memory_order_relaxed); }

protected:
    /// An operation on the device, which has failed unless it comes to its end. It is counted beforehand: a cancelled
    /// thread may leave it without passing a destructor, since clang++ takes fwrite(3) for a call that can't be left
    /// so.
    class Attempt {
    public:
        explicit Attempt(LogDevice& device) : failures_(device.failures_) { Add(1); }
        void Succeed() { Add(-1); }

    private:
        void Add(long count) { failures_.fetch_add(count, std::memory_order_relaxed); }
        std::atomic<long>& failures_;
    };

private:
    std::atomic<long> failures_{0};
};

/// A buffer of some kind whose operations are watched.
template <class Buffer>
class LogBuffer : public Buffer, public LogDevice {
protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        Attempt attempt(*this);
        const std::streamsize written = Buffer::xsputn(text, count);
        if (written == count) attempt.Succeed();
        return written;
    }

    int overflow(int character) override {
        Attempt attempt(*this);
        const int result = Buffer::overflow(character);
        if (result != std::char_traits<char>::eof()) attempt.Succeed();
        return result;
    }

    int sync() override {
        Attempt attempt(*this);
        const int result = Buffer::sync();
        if (result == 0) attempt.Succeed();
        return result;
    }
};

/// Writes out what waits in a stream. One that its device left bad serves again; any other that is bad stays so.
inline std::ostream& LogFlushed(std::ostream& out) {
    if (!out.good()) {
        // Each stream has seen so many of its device's failures: two may lead to one device.
        static const int seen = std::ios_base::xalloc();
        const auto* device = dynamic_cast<const LogDevice*>(out.rdbuf());
        if (device != nullptr && out.iword(seen) != device->Failures()) {
            out.iword(seen) = device->Failures();
            out.clear();
        }
    }
    return out.flush();
}

/// Begins a line: LogFlushed, then the text, which a field width that somebody left behind doesn't pad. Neither does it
/// pad what follows.
inline std::ostream& LogBegin(std::ostream& out, const char* text, std::streamsize length) {
    LogFlushed(out);
    if (out.width() != 0) out.width(0);
    return out.write(text, length);
}
