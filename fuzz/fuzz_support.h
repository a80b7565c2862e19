#ifndef QVTRACE_FUZZ_FUZZ_SUPPORT_H
#define QVTRACE_FUZZ_FUZZ_SUPPORT_H

// Helpers shared by the fuzz targets: silencing the diagnostic stream, exactly sized heap
// copies (so that AddressSanitizer sees any access past the bytes a call was given) and the
// failure exit that libFuzzer reports as a crash.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>

#include "XCP_Message.h"

namespace fuzzsupport {

/// A stream buffer that drops everything: the library's diagnostic lines would otherwise
/// make terminal output the bottleneck of a fuzzing run.
class NullBuffer : public std::streambuf {
protected:
    int_type overflow(int_type ch) override { return traits_type::not_eof(ch); }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

/// Sends std::cerr to a null buffer for the whole run.
inline void silenceDiagnostics()
{
    static NullBuffer sink;
    std::cerr.rdbuf(&sink);
}

/// Collects std::cerr while it lives, then sends it back where it went before.
class DiagnosticCapture {
public:
    DiagnosticCapture() : saved_(std::cerr.rdbuf(text_.rdbuf())) {}
    ~DiagnosticCapture() { std::cerr.rdbuf(saved_); }
    DiagnosticCapture(const DiagnosticCapture&) = delete;
    DiagnosticCapture& operator=(const DiagnosticCapture&) = delete;

    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* saved_;
};

/// A heap block of exactly `size` bytes (a valid pointer even for 0 bytes).
struct ExactBuffer {
    explicit ExactBuffer(size_t count) : bytes(new uint8_t[count]), size(count) {}
    ExactBuffer(const uint8_t* source, size_t count) : ExactBuffer(count)
    {
        if (count > 0) {
            std::memcpy(bytes.get(), source, count);
        }
    }

    std::unique_ptr<uint8_t[]> bytes;
    size_t size;
};

/// Reports a broken property and aborts, which libFuzzer records as a crash with its input.
[[noreturn]] inline void fail(const char* what)
{
    std::fprintf(stderr, "property violated: %s\n", what);
    std::fflush(stderr);
    std::abort();
}

inline void check(bool condition, const char* what)
{
    if (!condition) {
        fail(what);
    }
}

/// Transport types the piece readers are given: the four declared ones and values outside.
inline XCP_Message::transportType_t transportFromSelector(uint8_t selector)
{
    static const int32_t types[] = {0, 1, 2, 3, 4, 0x7f, -1};
    return static_cast<XCP_Message::transportType_t>(types[selector % (sizeof types / sizeof types[0])]);
}

}  // namespace fuzzsupport

#endif  // QVTRACE_FUZZ_FUZZ_SUPPORT_H
