#ifndef QVTRACE_TESTS_TEST_SUPPORT_H
#define QVTRACE_TESTS_TEST_SUPPORT_H

// Helpers shared by the suites: hex fixtures, capture of the diagnostic stream, and the
// write/read round trip of records.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "XCP_Message.h"

namespace testsupport {

/// Bytes from a fixture written as hex pairs, blanks allowed: "04 34 12 07 00".
inline byteVec_t hexBytes(const std::string& text)
{
    byteVec_t bytes;
    std::string digits;
    for (char c : text) {
        if (c == ' ' || c == '\n') {
            continue;
        }
        digits += c;
        if (digits.size() == 2) {
            bytes.push_back(static_cast<uint8_t>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    EXPECT_TRUE(digits.empty()) << "odd number of hex digits in fixture: " << text;
    return bytes;
}

/// Bytes as lower-case hex pairs separated by blanks, for readable failure messages.
inline std::string toHex(const uint8_t* data, size_t count)
{
    std::string text;
    char pair[4];
    for (size_t i = 0; i < count; ++i) {
        std::snprintf(pair, sizeof pair, i == 0 ? "%02x" : " %02x", data[i]);
        text += pair;
    }
    return text;
}

inline std::string toHex(const byteVec_t& bytes)
{
    return toHex(bytes.data(), bytes.size());
}

/// Captures everything written to std::cerr while it lives.
class CerrCapture {
public:
    CerrCapture() : saved_(std::cerr.rdbuf(buffer_.rdbuf())) {}
    ~CerrCapture() { std::cerr.rdbuf(saved_); }
    CerrCapture(const CerrCapture&) = delete;
    CerrCapture& operator=(const CerrCapture&) = delete;

    std::string text() const { return buffer_.str(); }
    /// The captured text split into lines; a trailing partial line is kept as a line.
    std::vector<std::string> lines() const
    {
        std::vector<std::string> result;
        std::istringstream in(buffer_.str());
        std::string line;
        while (std::getline(in, line)) {
            result.push_back(line);
        }
        return result;
    }
    void clear() { buffer_.str(std::string()); }

private:
    std::ostringstream buffer_;
    std::streambuf* saved_;
};

/// `line` repeated `times` times, each ended by a newline: the expected diagnostic text.
inline std::string repeatedLine(const std::string& line, int times = 1)
{
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += line + "\n";
    }
    return text;
}

/// Bytes that a writer produces into a buffer of `maxlen` bytes (plus a guard area that
/// must stay untouched), with the return value and the bytes the cursor passed.
struct WriteResult {
    size_t returned = 0;
    byteVec_t bytes;       ///< the bytes between the buffer start and the advanced cursor
    bool guardIntact = true;
    byteVec_t buffer;      ///< the whole buffer after the write, guard area included
};

/// Runs `write(cursor, maxlen)` on a buffer of maxlen + guard bytes filled with 0xEE and
/// checks that nothing beyond maxlen + allowedOverrun was touched.
template <typename Writer>
WriteResult writeInto(size_t maxlen, Writer write, size_t allowedOverrun = 0)
{
    const size_t guard = 16;
    byteVec_t buffer(maxlen + guard, 0xEE);
    uint8_t* cursor = buffer.data();
    WriteResult result;
    result.returned = write(cursor, maxlen);
    size_t advanced = static_cast<size_t>(cursor - buffer.data());
    result.bytes.assign(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(advanced));
    for (size_t i = maxlen + allowedOverrun; i < buffer.size(); ++i) {
        if (buffer[i] != 0xEE) {
            result.guardIntact = false;
        }
    }
    result.buffer = buffer;
    return result;
}

/// writeInto for a frame piece (anything with writeToByteArray(pdest, maxlen)).
template <typename Piece>
WriteResult writePiece(const Piece& piece, size_t maxlen)
{
    return writeInto(maxlen, [&piece](uint8_t*& cursor, size_t room) { return piece.writeToByteArray(cursor, room); });
}

/// Success when the write returned `returned`, advanced the cursor over exactly the bytes
/// `expectedHex` and left every other byte of the buffer (guard area included) untouched.
/// wrote(result, 0, "") thus states that a refused write touched nothing.
inline ::testing::AssertionResult wrote(const WriteResult& result, size_t returned, const std::string& expectedHex)
{
    std::string expected = toHex(hexBytes(expectedHex));
    if (result.returned != returned || toHex(result.bytes) != expected) {
        return ::testing::AssertionFailure() << "returned " << result.returned << " over [" << toHex(result.bytes)
                                             << "], expected " << returned << " over [" << expected << "]";
    }
    for (size_t i = result.bytes.size(); i < result.buffer.size(); ++i) {
        if (result.buffer[i] != 0xEE) {
            return ::testing::AssertionFailure() << "byte " << i << " past the cursor was touched";
        }
    }
    return ::testing::AssertionSuccess();
}

/// The first `count` bytes of a fixture in a heap block of exactly that size, so that the
/// sanitizer build reports any read past `count`.
class ExactBytes {
public:
    explicit ExactBytes(const byteVec_t& bytes) : ExactBytes(bytes, bytes.size()) {}
    ExactBytes(const byteVec_t& bytes, size_t count) : block_(new uint8_t[count]), count_(count)
    {
        EXPECT_LE(count, bytes.size()) << "fixture shorter than the requested block";
        std::copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size())),
                  block_.get());
    }
    const uint8_t* data() const { return block_.get(); }
    size_t size() const { return count_; }

private:
    std::unique_ptr<uint8_t[]> block_;
    size_t count_;
};

/// Writes a message into a buffer of getSize() + 2 bytes, as trace writers do.
inline byteVec_t writeRecord(const XCP_Message& message)
{
    byteVec_t record(message.getSize() + 2);
    uint8_t* cursor = record.data();
    message.writeToByteArray(cursor, record.size(), false);
    record.resize(static_cast<size_t>(cursor - record.data()));
    return record;
}

/// Reads a record through the static factory into an owned XCP_Message.
inline std::unique_ptr<XCP_Message> readRecord(const byteVec_t& record)
{
    MessageBase* base = XCP_Message::readFromByteArray(record.data(), record.size());
    XCP_Message* message = dynamic_cast<XCP_Message*>(base);
    EXPECT_NE(message, nullptr);
    return std::unique_ptr<XCP_Message>(message);
}

/// Round trip: the record has getSize() + 2 bytes and the expected bytes (when given), reads
/// back equal, with the same time stamp, and writes again to the same bytes.
inline void expectRoundTrip(const XCP_Message& message, const std::string& expectedHex = std::string())
{
    CerrCapture cerr;
    byteVec_t record = writeRecord(message);
    EXPECT_EQ(record.size(), message.getSize() + 2);
    if (!expectedHex.empty()) {
        EXPECT_EQ(toHex(record), toHex(hexBytes(expectedHex)));
    }
    std::unique_ptr<XCP_Message> copy = readRecord(record);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(*copy == message);
    EXPECT_EQ(copy->getTimeStamp(), message.getTimeStamp());
    EXPECT_EQ(toHex(writeRecord(*copy)), toHex(record));
    EXPECT_EQ(cerr.text(), "");
}

/// A string buffer that records where each flush (sync) happened, so that tests can tell
/// whether a writer flushed, and after which character.
class FlushRecordingBuf : public std::stringbuf {
public:
    /// Text length at each sync, in order.
    const std::vector<size_t>& syncPositions() const { return syncPositions_; }

protected:
    int sync() override
    {
        syncPositions_.push_back(str().size());
        return std::stringbuf::sync();
    }

private:
    std::vector<size_t> syncPositions_;
};

}  // namespace testsupport

#endif  // QVTRACE_TESTS_TEST_SUPPORT_H
