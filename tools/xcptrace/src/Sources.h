#ifndef XCPTRACE_SOURCES_H
#define XCPTRACE_SOURCES_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "CanFrames.h"
#include "DecodedPacket.h"
#include "InputDetection.h"
#include "Problems.h"

namespace xcptrace {

/// What the decoders need to know from the command line.
struct DecodeOptions {
    std::vector<uint16_t> slavePorts{5555};
    std::vector<CanPair> canPairs;  ///< empty: find pairs from the traffic
    /// Classic pcap files: take the plain records straight from the file rather than one by
    /// one from libpcap (the same packets, faster; false lets tests compare the two).
    bool directPcapRecords = true;
};

/// The XCP packets of one input (or of several, merged), one at a time.
class PacketSource {
public:
    virtual ~PacketSource() = default;
    /// The next packet, or nullptr at the end. The packet stays valid, and may be changed by
    /// the caller, until the next call.
    virtual DecodedPacket* next() = 0;
};

/// An input that cannot be read at all: missing, unreadable or of no known format.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Opens one input, recognising its format from its content. Problems met while reading
/// go to `problems`; the line for an input that cannot be opened comes as InputError
/// (its text is the reason, without the file name).
std::unique_ptr<PacketSource> openInput(const std::string& path, const DecodeOptions& options, ProblemLog& problems);

/// Several inputs merged into one stream in time-stamp order (ties keep input order).
/// The packets of one input keep that input's own order.
class MergedSource : public PacketSource {
public:
    explicit MergedSource(std::vector<std::unique_ptr<PacketSource>> inputs);
    DecodedPacket* next() override;

private:
    std::vector<std::unique_ptr<PacketSource>> inputs_;
    std::vector<DecodedPacket*> heads_;
    bool primed_ = false;
    size_t last_ = 0;
};

/// Base of the readers: each step reads one record, frame or line of the input into a
/// batch of packets, which next() hands out one by one.
class BatchedSource : public PacketSource {
public:
    BatchedSource(ProblemLog& problems, std::string name, const char* unit)
        : problems_(problems), name_(std::move(name)), unit_(unit)
    {
    }
    DecodedPacket* next() override;

protected:
    /// Reads one step into batch_; false at the end of the input (after the final flush,
    /// which may still add packets).
    virtual bool step() = 0;

    ProblemLog& problems_;
    std::string name_;
    const char* unit_;
    PacketBatch batch_;

private:
    size_t position_ = 0;
    bool ended_ = false;
};

// Readers per format, for openInput and for tests. Each takes over the open file.
std::unique_ptr<PacketSource> openPcapSource(const std::string& name, int fd, uint64_t size,
                                             const DecodeOptions& options, ProblemLog& problems);
std::unique_ptr<PacketSource> openCandumpSource(const std::string& name, std::FILE* file, uint64_t size,
                                                const DecodeOptions& options, ProblemLog& problems);
std::unique_ptr<PacketSource> openTraceFileSource(const std::string& name, std::FILE* file, uint64_t size,
                                                  ProblemLog& problems);

}  // namespace xcptrace

#endif  // XCPTRACE_SOURCES_H
