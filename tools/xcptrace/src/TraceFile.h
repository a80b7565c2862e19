#ifndef XCPTRACE_TRACEFILE_H
#define XCPTRACE_TRACEFILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "MessageBase.h"

namespace xcptrace {

/// The trace file container (docs/trace-file.md): a 16-byte file header, then every
/// message as a 4-byte big-endian length followed by that many bytes of trace record.
constexpr uint8_t TRACE_MAGIC[8] = {0x89, 'Q', 'V', 'T', 'R', '\r', '\n', 0x1A};
constexpr uint16_t TRACE_VERSION = 1;
constexpr size_t TRACE_HEADER_SIZE = 16;
constexpr size_t TRACE_LENGTH_SIZE = 4;
/// No record comes near this; a larger length means the file is damaged.
constexpr uint32_t TRACE_RECORD_LIMIT = 1u << 20;

/// The 16 header bytes of a version-1 trace file.
void traceFileHeader(uint8_t (&header)[TRACE_HEADER_SIZE]);

/// Whether the first bytes of a file are a trace file's magic.
bool hasTraceMagic(const uint8_t* data, size_t size);

/// Writes a trace file. Records are written as the library writes them into a buffer of
/// getSize() + 2 bytes, framed by the number of bytes the writer actually produced.
class TraceFileWriter {
public:
    TraceFileWriter() = default;
    ~TraceFileWriter();
    TraceFileWriter(const TraceFileWriter&) = delete;
    TraceFileWriter& operator=(const TraceFileWriter&) = delete;

    /// Creates (or truncates) the file and writes the header; false with `error` set.
    bool open(const std::string& path, std::string& error);
    /// Appends one message; false if the message would not write a record.
    bool write(const MessageBase& message);
    /// Flushes and closes; false with `error` if anything failed on the way.
    bool close(std::string& error);

    uint64_t records() const { return records_; }

private:
    std::FILE* file_ = nullptr;
    std::vector<uint8_t> buffer_;
    uint64_t records_ = 0;
};

/// Reads the records of a trace file in order.
class TraceFileReader {
public:
    enum class Status { RECORD, END, TRUNCATED, BAD_LENGTH };

    /// Takes over an open file positioned at its start; checks the header. On false,
    /// `error` says why the file is not a trace file this reader can read.
    bool open(std::FILE* file, std::string& error);
    ~TraceFileReader();

    /// The next record; `record` and `length` stay valid until the next call. After
    /// TRUNCATED or BAD_LENGTH the rest of the file cannot be framed and END follows.
    Status next(const uint8_t*& record, uint32_t& length);

    uint64_t bytesRead() const { return bytesRead_; }

private:
    std::FILE* file_ = nullptr;
    std::vector<uint8_t> buffer_;
    uint64_t bytesRead_ = 0;
    bool finished_ = false;
};

}  // namespace xcptrace

#endif  // XCPTRACE_TRACEFILE_H
