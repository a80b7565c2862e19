#ifndef XCPTRACE_PIPELINE_H
#define XCPTRACE_PIPELINE_H

#include <cstdint>
#include <string>
#include <vector>

#include "DecodedPacket.h"
#include "EcuNumbering.h"
#include "Sources.h"

namespace xcptrace {

/// A step every packet passes through after it has its ECU number and before it is
/// written: the place for per-ECU state (session tracking, statistics).
class PacketStage {
public:
    virtual ~PacketStage() = default;
    virtual void process(DecodedPacket& packet) = 0;
    /// After the last packet.
    virtual void finish() {}
};

/// Where the packets end up: printed lines, a trace file, ...
class PacketSink {
public:
    virtual ~PacketSink() = default;
    virtual void write(const DecodedPacket& packet) = 0;
    /// After the last packet; false with `error` when the output could not be written.
    virtual bool close(std::string& error) = 0;
};

/// Runs every packet of `source` through the numbering, the stages in order, and the
/// sink. Returns the number of packets.
uint64_t runPipeline(PacketSource& source, EcuNumbering& numbering, const std::vector<PacketStage*>& stages,
                     PacketSink& sink);

}  // namespace xcptrace

#endif  // XCPTRACE_PIPELINE_H
