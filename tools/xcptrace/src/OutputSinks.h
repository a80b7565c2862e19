#ifndef XCPTRACE_OUTPUTSINKS_H
#define XCPTRACE_OUTPUTSINKS_H

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "Pipeline.h"
#include "TraceFile.h"

namespace xcptrace {

/// A stream buffer that writes to a file descriptor in large blocks.
class FdOutputBuffer : public std::streambuf {
public:
    static constexpr size_t BUFFER_SIZE = 1u << 20;

    explicit FdOutputBuffer(int fd);
    ~FdOutputBuffer() override;
    FdOutputBuffer(const FdOutputBuffer&) = delete;
    FdOutputBuffer& operator=(const FdOutputBuffer&) = delete;

    /// errno of the first failed write, 0 if none failed.
    int error() const { return error_; }

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* data, std::streamsize count) override;
    int sync() override;

private:
    bool drain();

    int fd_;
    std::vector<char> buffer_;
    int error_ = 0;
};

/// `show`: one line per packet, the message's own rendering.
class ShowSink : public PacketSink {
public:
    explicit ShowSink(std::ostream& out) : out_(out) {}
    void write(const DecodedPacket& packet) override { out_ << packet.message << '\n'; }
    bool close(std::string& error) override;

private:
    std::ostream& out_;
};

/// `convert`: every packet as a record of a trace file.
class TraceFileSink : public PacketSink {
public:
    /// False with `error` when the file cannot be created.
    bool open(const std::string& path, std::string& error) { return writer_.open(path, error); }
    void write(const DecodedPacket& packet) override;
    bool close(std::string& error) override;
    uint64_t refused() const { return refused_; }

private:
    TraceFileWriter writer_;
    uint64_t refused_ = 0;
};

}  // namespace xcptrace

#endif  // XCPTRACE_OUTPUTSINKS_H
