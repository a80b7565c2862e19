#ifndef XCPTRACE_TCPREASSEMBLY_H
#define XCPTRACE_TCPREASSEMBLY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace xcptrace {

/// Receives one direction of a TCP connection as an ordered byte stream.
class StreamSink {
public:
    virtual ~StreamSink() = default;
    /// Bytes that continue the stream.
    virtual void streamData(const uint8_t* data, size_t count) = 0;
    /// `missing` bytes of the stream never arrived; the next data follows the hole.
    virtual void streamGap(uint64_t missing) = 0;
};

/// Puts the segments of one direction of a TCP connection back in order. Retransmitted and
/// overlapping bytes are delivered once; segments ahead of the stream wait until the hole
/// before them is filled. A hole is given up (reported as a gap) when more than
/// PENDING_LIMIT bytes wait behind it, and at the end of the stream.
/// A capture that starts in the middle of a connection starts its stream at the first
/// segment seen.
class TcpStreamReassembler {
public:
    static constexpr size_t PENDING_LIMIT = 1u << 20;

    /// One segment: its sequence number, SYN flag and payload.
    void segment(uint32_t sequence, bool syn, const uint8_t* payload, size_t count, StreamSink& sink);
    /// End of the stream: delivers whatever waits, reporting the holes before it.
    void flush(StreamSink& sink);

    /// Whether any byte has been delivered or is waiting.
    bool started() const { return synced_ && (delivered_ != 0 || !pending_.empty()); }
    /// Sequence number of the next byte the stream expects.
    uint32_t nextSequence() const { return nextSequence_; }
    uint64_t deliveredBytes() const { return delivered_; }
    size_t pendingBytes() const { return pendingBytes_; }
    uint64_t duplicateBytes() const { return duplicate_; }

private:
    void deliver(const uint8_t* data, size_t count, StreamSink& sink);
    void drain(StreamSink& sink);
    void skipToPending(StreamSink& sink);

    bool synced_ = false;
    bool sawSyn_ = false;
    uint32_t synSequence_ = 0;
    uint32_t nextSequence_ = 0;  ///< sequence number of the next byte expected
    uint64_t nextOffset_ = 0;    ///< its position in the stream, counted without wrap-around
    uint64_t delivered_ = 0;
    uint64_t duplicate_ = 0;
    std::map<uint64_t, std::vector<uint8_t>> pending_;  ///< by stream position
    size_t pendingBytes_ = 0;
};

}  // namespace xcptrace

#endif  // XCPTRACE_TCPREASSEMBLY_H
